#pragma once

#include <functional>
#include <string>

/// What one side cost relative to another.
struct Ratio {
    double wall = 0;
    double cpu = 0; ///< of the calling thread
};

/// Makes so many calls of each, one after the other and taking turns in going first, and gives the
/// ratio of the medians, `measured` to `reference`.
Ratio Compare(int calls, const std::function<void()>& measured,
              const std::function<void()>& reference);

/// Seconds that one call takes, the median of many.
double MedianSeconds(int calls, const std::function<void()>& measured);

/// Prints one line of the report: a figure, its value and the goal, which is the highest value that
/// will do ("<= 1.02") or the lowest (">= 0.5").
void Report(const std::string& figure, double value, const std::string& goal);
