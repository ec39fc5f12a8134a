#include "app/ClickTools.h"

#include "app/PlayerWindow.h"
#include "app/WindowSettings.h"
#include "playback/KTAudioQueuePlayer.h"

#include <QActionGroup>
#include <QMenu>
#include <algorithm>

namespace {

const QString kClickSetting = QStringLiteral("practice/click");
const QString kClickLevelSetting = QStringLiteral("practice/clickLevelPercent");

// The grid's beats in the recording's frames, each bar line marked for the higher click.
std::vector<platform::ClickBeat> clickBeats(const session::Session& session) {
    std::vector<platform::ClickBeat> beats;
    const session::Recording* recording = session.recording();
    if (!recording)
        return beats;
    beats.reserve(session.grid().beats.size());
    for (const session::GridBeat& beat : session.grid().beats)
        beats.push_back(
            {beat.seconds * recording->sampleRate(), beat.bar > 0 && beat.beatInBar == 1});
    return beats;
}

} // namespace

ClickTools::ClickTools(session::Session& session, PlayerWindow& window, KTAudioQueuePlayer& player,
                       QObject* parent)
    : QObject(parent), session_(session), window_(window), player_(player) {
    const int remembered = windowSettings().value(kClickLevelSetting, kDefaultLevelPercent).toInt();
    if (std::ranges::find(kLevelPercents, remembered) != std::end(kLevelPercents))
        levelPercent_ = remembered;
    makeMenu();
    clickAction_->setChecked(windowSettings().value(kClickSetting, false).toBool());
    session_.addObserver(this);
    apply();
}

ClickTools::~ClickTools() {
    session_.removeObserver(this);
    delete levelMenu_;
    delete clickAction_;
}

// After the pause between passes and the tap of its tempo, the other clicks.
void ClickTools::makeMenu() {
    QMenu* controls = window_.ui.controlsMenu;
    const QList<QAction*> items = controls->actions();
    const qsizetype tap = items.indexOf(window_.ui.tapTempoAction);
    QAction* before = tap >= 0 && tap + 1 < items.size() ? items[tap + 1] : nullptr;
    // The window's, like its other items (its key is found among them); taken out again
    // when the tools go.
    clickAction_ = new QAction(QStringLiteral("Click"), &window_);
    clickAction_->setObjectName(QStringLiteral("clickAction"));
    clickAction_->setCheckable(true);
    clickAction_->setShortcut(QKeySequence(Qt::Key_K));
    connect(clickAction_, &QAction::triggered, this, &ClickTools::setOn);
    controls->insertAction(before, clickAction_);
    levelMenu_ = new QMenu(QStringLiteral("Click Level"), controls);
    levelMenu_->setObjectName(QStringLiteral("clickLevelMenu"));
    auto* group = new QActionGroup(levelMenu_);
    for (const int percent : kLevelPercents) {
        QAction* item = levelMenu_->addAction(QStringLiteral("%1 %").arg(percent));
        item->setCheckable(true);
        item->setChecked(percent == levelPercent_);
        group->addAction(item);
        connect(item, &QAction::triggered, this, [this, percent] { setLevelPercent(percent); });
        levelItems_.push_back(item);
    }
    controls->insertMenu(before, levelMenu_);
}

bool ClickTools::isOn() const {
    return clickAction_->isChecked();
}

void ClickTools::setOn(bool on) {
    clickAction_->setChecked(on);
    windowSettings().setValue(kClickSetting, on);
    apply();
}

void ClickTools::setLevelPercent(int percent) {
    if (std::ranges::find(kLevelPercents, percent) == std::end(kLevelPercents))
        return;
    levelPercent_ = percent;
    for (std::size_t i = 0; i < levelItems_.size(); ++i)
        levelItems_[i]->setChecked(kLevelPercents[i] == percent);
    windowSettings().setValue(kClickLevelSetting, percent);
    apply();
}

void ClickTools::recordingChanged(const session::Session& /*session*/) {
    apply();
}

void ClickTools::gridChanged(const session::Session& /*session*/) {
    apply();
}

void ClickTools::apply() {
    const bool hasGrid = !session_.grid().isEmpty();
    clickAction_->setEnabled(hasGrid);
    levelMenu_->menuAction()->setEnabled(hasGrid);
    const bool clicks = hasGrid && isOn();
    player_.setClick(clicks ? clickBeats(session_) : std::vector<platform::ClickBeat>{},
                     clicks ? levelPercent_ / 100.0 : 0.0);
}
