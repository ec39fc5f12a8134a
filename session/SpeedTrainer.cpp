#include "session/SpeedTrainer.h"

#include <algorithm>
#include <cmath>

void SpeedTrainer::start(const SpeedTrainerPlan& plan) {
    plan_ = plan;
    plan_.passesPerStep = std::max(plan.passesPerStep, 1);
    plan_.stepRate = std::fabs(plan.stepRate);
    on_ = true;
    passes_ = 0;
}

void SpeedTrainer::stop() {
    on_ = false;
}

std::optional<double> SpeedTrainer::passCompleted(double currentRate) {
    if (!on_ || ++passes_ % plan_.passesPerStep != 0)
        return std::nullopt;
    const double toGo = plan_.targetRate - currentRate;
    // Within a hair of the target counts as there: the slider keeps hundredths.
    if (std::fabs(toGo) <= plan_.stepRate + 1e-9) {
        on_ = false;
        return plan_.targetRate;
    }
    return currentRate + std::copysign(plan_.stepRate, toGo);
}
