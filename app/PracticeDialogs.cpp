#include "app/PracticeDialogs.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>
#include <cmath>

namespace {

// The speed slider's limits, in percent.
constexpr int kSlowestPercent = 10;
constexpr int kFastestPercent = 400;

QSpinBox* percentField(QWidget* parent, int low, int high, double rate) {
    auto* field = new QSpinBox(parent);
    field->setRange(low, high);
    field->setSuffix(QStringLiteral(" %"));
    field->setValue(int(std::lround(rate * 100.0)));
    return field;
}

void makeWindowModal(QDialog* dialog, const QString& title) {
    dialog->setWindowTitle(title);
    dialog->setWindowModality(Qt::WindowModal);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
}

} // namespace

SpeedTrainerDialog::SpeedTrainerDialog(QWidget* parent, const SpeedTrainerPlan& plan, bool running)
    : QDialog(parent) {
    setObjectName(QStringLiteral("speedTrainerDialog"));
    makeWindowModal(this, QStringLiteral("Speed Trainer"));
    startField = percentField(this, kSlowestPercent, kFastestPercent, plan.startRate);
    stepField = percentField(this, 1, 100, plan.stepRate);
    passesField = new QSpinBox(this);
    passesField->setRange(1, 99);
    passesField->setValue(plan.passesPerStep);
    targetField = percentField(this, kSlowestPercent, kFastestPercent, plan.targetRate);

    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("Start at:"), startField);
    form->addRow(QStringLiteral("Step by:"), stepField);
    form->addRow(QStringLiteral("Every (passes):"), passesField);
    form->addRow(QStringLiteral("Up to:"), targetField);
    auto* explanation = new QLabel(
        QStringLiteral("While the trainer is on, each pass of the loop counts and the speed "
                       "steps towards the target on schedule; it stops there."),
        this);
    explanation->setWordWrap(true);

    auto* buttons = new QDialogButtonBox(this);
    QPushButton* startButton =
        buttons->addButton(running ? QStringLiteral("Restart") : QStringLiteral("Start"),
                           QDialogButtonBox::AcceptRole);
    startButton->setObjectName(QStringLiteral("startButton"));
    startButton->setDefault(true);
    if (running) {
        QPushButton* off =
            buttons->addButton(QStringLiteral("Turn Off"), QDialogButtonBox::DestructiveRole);
        off->setObjectName(QStringLiteral("turnOffButton"));
        connect(off, &QPushButton::clicked, this, [this] {
            emit turnOffRequested();
            reject();
        });
    }
    buttons->addButton(QDialogButtonBox::Cancel);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] {
        emit startRequested(this->plan());
        accept();
    });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(explanation);
    layout->addLayout(form);
    layout->addWidget(buttons);
}

SpeedTrainerPlan SpeedTrainerDialog::plan() const {
    return {startField->value() / 100.0, stepField->value() / 100.0, passesField->value(),
            targetField->value() / 100.0};
}

PassPauseDialog::PassPauseDialog(QWidget* parent, double pauseSeconds, bool countIn,
                                 double beatsPerMinute)
    : QDialog(parent) {
    setObjectName(QStringLiteral("passPauseDialog"));
    makeWindowModal(this, QStringLiteral("Pause Between Passes"));
    pauseField = new QDoubleSpinBox(this);
    pauseField->setRange(0.0, 10.0);
    pauseField->setSingleStep(0.5);
    pauseField->setDecimals(1);
    pauseField->setSuffix(QStringLiteral(" s"));
    pauseField->setValue(pauseSeconds);
    countInBox = new QCheckBox(QStringLiteral("Count-in clicks during the pause"), this);
    countInBox->setChecked(countIn);
    tempoField = new QSpinBox(this);
    tempoField->setRange(30, 300);
    tempoField->setSuffix(QStringLiteral(" BPM"));
    tempoField->setValue(int(std::lround(beatsPerMinute)));
    auto* tapButton = new QPushButton(QStringLiteral("Tap"), this);
    tapButton->setObjectName(QStringLiteral("tapButton"));
    tapButton->setAutoDefault(false);
    tapStatus_ = new QLabel(QStringLiteral("or tap four beats"), this);
    connect(tapButton, &QPushButton::pressed, this, [this] { tap(TapTempo::Clock::now()); });

    auto* tempoRow = new QHBoxLayout;
    tempoRow->addWidget(tempoField);
    tempoRow->addWidget(tapButton);
    tempoRow->addWidget(tapStatus_);
    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("Pause:"), pauseField);
    form->addRow(QString(), countInBox);
    form->addRow(QStringLiteral("Tempo:"), tempoRow);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] {
        emit settingsChosen(pauseField->value(), countInBox->isChecked(), tempoField->value());
        accept();
    });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(buttons);
}

void PassPauseDialog::tap(TapTempo::Clock::time_point when) {
    if (const std::optional<double> tempo = taps_.tap(when)) {
        tempoField->setValue(int(std::lround(*tempo)));
        tapStatus_->setText(QStringLiteral("tapped"));
    } else {
        tapStatus_->setText(
            QStringLiteral("%1 of %2 taps").arg(taps_.tapsInRow()).arg(TapTempo::kTapsNeeded));
    }
}
