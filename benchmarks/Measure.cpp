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

struct Costs {
    void Add(const Cost& cost) {
        wall.push_back(cost.wall);
        cpu.push_back(cost.cpu);
    }

    std::vector<double> wall;
    std::vector<double> cpu;
};

Cost MeasureCall(const std::function<void()>& measured) {
    const double wall = ReadClock(CLOCK_MONOTONIC);
    const double cpu = ReadClock(CLOCK_THREAD_CPUTIME_ID);
    measured();
    return {ReadClock(CLOCK_MONOTONIC) - wall, ReadClock(CLOCK_THREAD_CPUTIME_ID) - cpu};
}

double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace

Ratio Compare(int calls, const std::function<void()>& measured,
              const std::function<void()>& reference) {
    MeasureCall(measured);
    MeasureCall(reference);
    Costs own;
    Costs other;
    for (int call = 0; call < calls; ++call) {
        if (call % 2 == 0) { own.Add(MeasureCall(measured)); }
        other.Add(MeasureCall(reference));
        if (call % 2 != 0) { own.Add(MeasureCall(measured)); }
    }
    return {Median(own.wall) / Median(other.wall), Median(own.cpu) / Median(other.cpu)};
}

double MedianSeconds(int calls, const std::function<void()>& measured) {
    std::vector<double> seconds;
    for (int call = 0; call < calls; ++call) { seconds.push_back(MeasureCall(measured).wall); }
    return Median(seconds);
}

void Report(const std::string& figure, double value, const std::string& goal) {
    std::printf("%s\t%.4g\t%s\n", figure.c_str(), value, goal.c_str());
    std::fflush(stdout);
}
