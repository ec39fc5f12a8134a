#include "tests/support/Storm.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace test_support {

namespace {

std::int64_t environmentNumber(const char* name, std::int64_t fallback) {
    const char* text = std::getenv(name);
    return text && *text ? std::strtoll(text, nullptr, 10) : fallback;
}

// gdb attached from outside prints every thread's stack. A thread stuck in the kernel (a
// read from a share that stopped answering) can keep it from stopping the process, so it
// gets a time limit of its own.
void printAllStacks() {
    prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY);
    const std::string pid = std::to_string(getpid());
    std::vector<std::string> arguments = {
        "timeout", "60", "gdb", "-batch", "-nx", "-p", pid, "-ex", "thread apply all bt"};
    std::vector<char*> argv;
    for (std::string& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
    pid_t child = 0;
    if (posix_spawnp(&child, "timeout", &actions, nullptr, argv.data(), environ) == 0)
        waitpid(child, nullptr, 0);
    else
        std::fprintf(stderr, "watchdog: could not start gdb for the stacks\n");
    posix_spawn_file_actions_destroy(&actions);
}

} // namespace

std::vector<std::uint64_t> stormSeeds(std::vector<std::uint64_t> defaults) {
    if (const std::int64_t seed = environmentNumber("STUDYLOOP_STORM_SEED", -1); seed >= 0)
        return {std::uint64_t(seed)};
    return defaults;
}

int stormSteps(int defaults) {
    return int(environmentNumber("STUDYLOOP_STORM_STEPS", defaults));
}

void StormTrail::add(int index, const std::string& said) {
    recent.push_back(std::to_string(index) + ": " + said);
    if (recent.size() > kKept)
        recent.pop_front();
}

std::string StormTrail::text() const {
    std::string text = "seed " + std::to_string(seed) +
                       " (STUDYLOOP_STORM_SEED=" + std::to_string(seed) +
                       " replays it); the last commands:";
    for (const std::string& said : recent)
        text += "\n  " + said;
    return text;
}

std::string StormTrail::textWith(int index, const std::string& said) const {
    return text() + "\n  " + std::to_string(index) + ": " + said + " (under way)";
}

std::string stormSeedName(std::uint64_t seed) {
    return "seed" + std::to_string(seed);
}

std::int64_t StormRandom::between(std::int64_t low, std::int64_t high) {
    const auto span = std::uint64_t(high - low) + 1;
    return span == 0 ? std::int64_t(engine()) : low + std::int64_t(engine() % span);
}

double StormRandom::real(double low, double high) {
    const double unit = double(engine() >> 11) * 0x1.0p-53;
    return low + unit * (high - low);
}

std::size_t StormRandom::weighted(const std::vector<int>& weights) {
    int total = 0;
    for (int weight : weights)
        total += weight;
    std::int64_t pick = between(0, total - 1);
    for (std::size_t i = 0; i < weights.size(); ++i) {
        pick -= weights[i];
        if (pick < 0)
            return i;
    }
    return weights.size() - 1;
}

Watchdog::Watchdog(std::chrono::seconds limit, std::string what)
    : limit(limit), what(std::move(what)), lastFed(std::chrono::steady_clock::now()),
      watcher([this] { watch(); }) {}

Watchdog::~Watchdog() {
    {
        std::lock_guard guard(lock);
        done = true;
    }
    changed.notify_all();
    watcher.join();
}

void Watchdog::feed(std::string step) {
    std::lock_guard guard(lock);
    lastFed = std::chrono::steady_clock::now();
    lastStep = std::move(step);
}

void Watchdog::watch() {
    std::unique_lock guard(lock);
    while (!done) {
        const auto deadline = lastFed + limit;
        if (changed.wait_until(guard, deadline, [this] { return done; }))
            return;
        if (std::chrono::steady_clock::now() < lastFed + limit)
            continue;
        std::fprintf(stderr, "watchdog: %s made no progress for %lld s; %s\n", what.c_str(),
                     static_cast<long long>(limit.count()), lastStep.c_str());
        std::fflush(stderr);
        printAllStacks();
        std::fflush(stdout);
        std::_Exit(3);
    }
}

} // namespace test_support
