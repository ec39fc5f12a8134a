#pragma once

// What the command-storm tests share: the seeds they run (a failing seed is printed and
// replayed with STUDYLOOP_STORM_SEED), a random source that gives the same sequence for a
// seed on every machine, and a watchdog that ends a test which stops making progress with
// the stacks of all its threads.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace test_support {

// STUDYLOOP_STORM_SEED=N runs only seed N; otherwise `defaults`.
std::vector<std::uint64_t> stormSeeds(std::vector<std::uint64_t> defaults);
// STUDYLOOP_STORM_STEPS=N, else `defaults`.
int stormSteps(int defaults);

// Uniform choices from a seed, computed here rather than by the standard library's
// distributions, whose results differ between library versions.
class StormRandom {
public:
    explicit StormRandom(std::uint64_t seed) : engine(seed) {}
    // In [low, high], both included.
    std::int64_t between(std::int64_t low, std::int64_t high);
    // In [low, high).
    double real(double low, double high);
    bool chance(double probability) { return real(0, 1) < probability; }
    // An index into `weights`, each taken in proportion to its weight.
    std::size_t weighted(const std::vector<int>& weights);

private:
    std::mt19937_64 engine;
};

// The last commands of a storm, for a failure's message and the watchdog's report: the
// seed, how to replay it, and what came just before.
class StormTrail {
public:
    explicit StormTrail(std::uint64_t seed) : seed(seed) {}
    void add(int index, const std::string& said);
    std::string text() const;
    // The trail with command `index`, under way.
    std::string textWith(int index, const std::string& said) const;

private:
    static constexpr std::size_t kKept = 12;
    const std::uint64_t seed;
    std::deque<std::string> recent;
};

// "seed7": a readable name for a storm's parameter.
std::string stormSeedName(std::uint64_t seed);

// Ends the process (with the stacks of every thread on standard error, through gdb) when
// `feed` has not been called for `limit`: a deadlock fails the test with where each
// thread waits, instead of running into CTest's timeout with nothing said.
class Watchdog {
public:
    Watchdog(std::chrono::seconds limit, std::string what);
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

    // Progress; `step` says what the test is about to do, for the report.
    void feed(std::string step);

private:
    void watch();

    const std::chrono::seconds limit;
    const std::string what;
    std::mutex lock;
    std::condition_variable changed;
    std::chrono::steady_clock::time_point lastFed;
    std::string lastStep;
    bool done = false;
    std::thread watcher;
};

} // namespace test_support
