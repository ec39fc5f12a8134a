#include "app/BarTools.h"

#include "app/BackgroundAnalysis.h"
#include "app/MenuItems.h"
#include "app/PlayerWindow.h"
#include "app/WindowSettings.h"
#include "resources/palette/PaletteQColor.h"
#include "waveform_view/KTFixedWaveformView.h"

#include <QBoxLayout>
#include <QLabel>
#include <QMenu>
#include <algorithm>

namespace {

const QString kShowGridSetting = QStringLiteral("view/showBeatGrid");

// The grid as the view draws it: each beat's frame, and the bar it starts, if it does.
waveform_view::BeatMarks beatMarks(const session::Session& session) {
    waveform_view::BeatMarks marks;
    const session::Recording* recording = session.recording();
    if (!recording)
        return marks;
    for (const session::GridBeat& beat : session.grid().beats)
        marks.push_back(
            {recording->framesFor(beat.seconds), beat.bar, beat.bar > 0 && beat.beatInBar == 1});
    return marks;
}

// A label on the HUD bar, in the light blue of its controls; `alpha` fades a remark.
QLabel* makeHudLabel(QWidget* parent, const QString& name, int alpha) {
    auto* label = new QLabel(parent);
    label->setObjectName(name);
    QColor colour = palette::qColor(palette::kAccent);
    colour.setAlpha(alpha);
    QPalette colours = label->palette();
    colours.setColor(QPalette::WindowText, colour);
    label->setPalette(colours);
    return label;
}

} // namespace

BarTools::BarTools(session::Session& session, PlayerWindow& window,
                   std::function<void(LoopRange)> editLoop, QObject* parent)
    : QObject(parent), session_(session), window_(window), view_(window.waveformView),
      editLoop_(std::move(editLoop)) {
    makeLabels();
    analysis_ = new BackgroundAnalysis(session_, analysisLabel_, this);
    makeMenu();
    setShowsGrid(windowSettings().value(kShowGridSetting, true).toBool());
    session_.addObserver(this);
}

BarTools::~BarTools() {
    session_.removeObserver(this);
}

// Beside the LCD: the bar and beat under the playhead; after the key, the analysis under way.
void BarTools::makeLabels() {
    QLabel* sound = window_.ui.soundStatusLabel;
    auto* row = qobject_cast<QBoxLayout*>(sound->parentWidget()->layout());
    positionLabel_ = makeHudLabel(sound->parentWidget(), QStringLiteral("barPositionLabel"), 255);
    // Wide enough for "bar 888 beat 8", so the row does not shift as the numbers change.
    positionLabel_->setMinimumWidth(
        positionLabel_->fontMetrics().horizontalAdvance(QStringLiteral("bar 888 beat 8 ")));
    // Faded: a remark, not a warning.
    analysisLabel_ =
        makeHudLabel(sound->parentWidget(), QStringLiteral("analysisStatusLabel"), 150);
    // The analysis's mark goes after the key, so that it never moves the line about the
    // sound output while it comes and goes.
    if (row) {
        row->insertWidget(row->indexOf(sound), positionLabel_);
        row->insertWidget(row->indexOf(window_.ui.keyLabel) + 1, analysisLabel_);
    }
}

QAction* BarTools::addCommand(QMenu* menu, const QString& text, const QKeySequence& keys,
                              std::function<void()> command) {
    QAction* action = menu->addAction(text);
    action->setShortcut(keys);
    connect(action, &QAction::triggered, this, std::move(command));
    return action;
}

void BarTools::makeMenu() {
    QMenu* controls = window_.ui.controlsMenu;
    controls->addSeparator();
    QMenu* bars = controls->addMenu(QStringLiteral("Bars"));
    bars->setObjectName(QStringLiteral("barsMenu"));
    showGridAction_ = bars->addAction(QStringLiteral("Show Beat Grid"));
    showGridAction_->setCheckable(true);
    connect(showGridAction_, &QAction::triggered, this, [this](bool shows) {
        windowSettings().setValue(kShowGridSetting, shows);
        setShowsGrid(shows);
    });
    bars->addSeparator();
    const auto here = [this] { return view_->playheadFrame(); };
    barLoopItems_.push_back(addCommand(bars, QStringLiteral("Loop This Bar"),
                                       QKeySequence(Qt::Key_B),
                                       [this, here] { loopBarsAt(here(), 1); }));
    barLoopItems_.front()->setObjectName(QStringLiteral("loopThisBarAction"));
    for (const int count : {1, 2, 4, 8})
        barLoopItems_.push_back(
            addCommand(bars,
                       count == 1 ? QStringLiteral("Loop 1 Bar From Here")
                                  : QStringLiteral("Loop %1 Bars From Here").arg(count),
                       QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key(Qt::Key_0 + count)),
                       [this, here, count] { loopBarsAt(here(), count); }));
    bars->addSeparator();
    makeCorrectionMenu(bars);
}

void BarTools::makeCorrectionMenu(QMenu* bars) {
    QMenu* menu = correctionMenu_ = bars->addMenu(QStringLiteral("Correct Beat Grid"));
    addCommand(menu, QStringLiteral("This Is Beat 1"), QKeySequence(Qt::SHIFT | Qt::Key_B), [this] {
        if (const session::Recording* recording = session_.recording())
            correctGrid([seconds = recording->secondsAt(view_->playheadFrame())](
                            session::GridCorrection& c) { c.firstBeatAt = seconds; });
    });
    addCommand(menu, QStringLiteral("Double Tempo"), {}, [this] {
        correctGrid([](auto& c) { c.tempoDoublings = std::min(c.tempoDoublings + 1, 3); });
    });
    addCommand(menu, QStringLiteral("Halve Tempo"), {}, [this] {
        correctGrid([](auto& c) { c.tempoDoublings = std::max(c.tempoDoublings - 1, -3); });
    });
    addCommand(menu, QStringLiteral("Nudge Grid Earlier"), {},
               [this] { correctGrid([](auto& c) { c.offsetSeconds -= kGridNudgeSeconds; }); });
    addCommand(menu, QStringLiteral("Nudge Grid Later"), {},
               [this] { correctGrid([](auto& c) { c.offsetSeconds += kGridNudgeSeconds; }); });
    QMenu* meter = menu->addMenu(QStringLiteral("Beats per Bar"));
    for (int beats = kFewestBeatsPerBar; beats <= kMostBeatsPerBar; ++beats) {
        QAction* item = addCommand(meter, QString::number(beats), {}, [this, beats] {
            correctGrid([beats](auto& c) { c.beatsPerBar = beats; });
        });
        item->setCheckable(true);
        beatsPerBarItems_.push_back(item);
    }
    menu->addSeparator();
    addCommand(menu, QStringLiteral("Reset Beat Grid"), {},
               [this] { correctGrid([](auto& c) { c = {}; }); });
}

void BarTools::correctGrid(const std::function<void(session::GridCorrection&)>& change) {
    if (session_.foundGrid().isEmpty())
        return;
    session::GridCorrection correction = session_.gridCorrection();
    change(correction);
    session_.setGridCorrection(correction);
}

void BarTools::setShowsGrid(bool shows) {
    showGridAction_->setChecked(shows);
    view_->setShowsBeatGrid(shows);
    showPosition(view_->playheadFrame());
    enableGridItems();
}

void BarTools::loopBarsAt(std::int32_t frame, int bars) {
    const session::Recording* recording = session_.recording();
    if (!recording || !view_->isBeatGridShown())
        return;
    const auto range = session_.grid().barsFrom(recording->secondsAt(frame), bars);
    if (!range)
        return;
    const std::int32_t end =
        std::min(recording->framesFor(range->second), recording->totalFrames());
    editLoop_({recording->framesFor(range->first), end});
}

QString BarTools::positionText(std::int32_t frame) const {
    const session::Recording* recording = session_.recording();
    if (!recording || !view_->isBeatGridShown())
        return {};
    const double seconds = recording->secondsAt(frame);
    const session::GridBeat* beat = session_.grid().beatAt(seconds);
    if (!beat || beat->bar < 1 || seconds < beat->seconds)
        return {};
    return QStringLiteral("bar %1 beat %2").arg(beat->bar).arg(beat->beatInBar);
}

void BarTools::showPosition(std::int32_t frame) {
    positionLabel_->setText(positionText(frame));
    // Without a grid the row is as it always was.
    positionLabel_->setVisible(view_->isBeatGridShown());
}

void BarTools::showGrid() {
    view_->setBeatMarks(beatMarks(session_));
    for (QAction* item : beatsPerBarItems_)
        item->setChecked(item->text().toInt() == session_.grid().beatsPerBar);
    showPosition(view_->playheadFrame());
    enableGridItems();
}

void BarTools::enableGridItems() {
    const bool loops = !session_.grid().isEmpty() && view_->isBeatGridShown();
    for (QAction* item : barLoopItems_)
        item->setEnabled(loops);
    const bool corrects = !session_.foundGrid().isEmpty();
    correctionMenu_->menuAction()->setEnabled(corrects);
    setMenuItemsEnabled(correctionMenu_, corrects);
}

void BarTools::recordingChanged(const session::Session& /*session*/) {
    showGrid();
}

void BarTools::gridChanged(const session::Session& /*session*/) {
    showGrid();
}
