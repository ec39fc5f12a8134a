#pragma once

// The speed trainer: while it is on, every completed pass of the loop counts, and every
// `passesPerStep` passes the speed moves one step towards the target, from wherever the
// speed stands then (a speed the musician set by hand in between is stepped on from);
// the step that reaches the target turns the trainer off. Turning it off leaves the speed
// where it is.
//
// Thread contract: one thread (the main thread, in the window).

#include <optional>

struct SpeedTrainerPlan {
    double startRate = 0.7;
    double stepRate = 0.05; // how much each step moves the speed, towards the target
    int passesPerStep = 2;
    double targetRate = 1.0;
};

class SpeedTrainer {
public:
    // Turns the trainer on with its pass count at 0; the speed to start from is the plan's.
    void start(const SpeedTrainerPlan& plan);
    void stop();
    bool isOn() const { return on_; }
    const SpeedTrainerPlan& plan() const { return plan_; }
    int passesCounted() const { return passes_; }

    // A pass of the loop ended at `currentRate`. Returns the speed to step to when the
    // schedule says so (nothing while off).
    std::optional<double> passCompleted(double currentRate);

private:
    SpeedTrainerPlan plan_;
    bool on_ = false;
    int passes_ = 0;
};
