#include "Measure.h"

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

double ReadClock(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

struct Cost {
    double wall;
    double cpu;
};

Cost MeasureCalls(int calls, const std::function<void()>& measured) {
    const double wall = ReadClock(CLOCK_MONOTONIC);
    const double cpu = ReadClock(CLOCK_THREAD_CPUTIME_ID);
    for (int i = 0; i < calls; ++i) { measured(); }
    return {ReadClock(CLOCK_MONOTONIC) - wall, ReadClock(CLOCK_THREAD_CPUTIME_ID) - cpu};
}

double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace

Ratio Compare(int blocks, int callsPerBlock, const std::function<void()>& measured,
              const std::function<void()>& reference) {
    MeasureCalls(callsPerBlock, measured);
    MeasureCalls(callsPerBlock, reference);
    std::vector<double> wall;
    std::vector<double> cpu;
    for (int block = 0; block < blocks; ++block) {
        Cost own{};
        Cost other{};
        if (block % 2 == 0) {
            own = MeasureCalls(callsPerBlock, measured);
            other = MeasureCalls(callsPerBlock, reference);
        } else {
            other = MeasureCalls(callsPerBlock, reference);
            own = MeasureCalls(callsPerBlock, measured);
        }
        wall.push_back(own.wall / other.wall);
        cpu.push_back(own.cpu / other.cpu);
    }
    return {Median(wall), Median(cpu)};
}

double MedianSeconds(int calls, const std::function<void()>& measured) {
    std::vector<double> seconds;
    for (int call = 0; call < calls; ++call) { seconds.push_back(MeasureCalls(1, measured).wall); }
    return Median(seconds);
}

void Report(const std::string& figure, double value, const std::string& goal) {
    std::printf("%s\t%.4g\t%s\n", figure.c_str(), value, goal.c_str());
    std::fflush(stdout);
}
