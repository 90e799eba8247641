#pragma once

#include <string>

#include "Journal.h"

namespace VarnelBase::Studies {

/// What a plot shows. Each pointer names a parameter or a collected member of the study.
struct PlotRequest {
    std::string x;     ///< along the x axis
    std::string y;     ///< along the y axis
    std::string group; ///< empty, or: a curve for each of its values
    std::string color; ///< empty, or: makes it a heat map: x and y span it, this is its colour
    std::string file;  ///< ".svg" or ".png"; empty: text on standard output
};

/// Draws the finished points of a study with gnuplot, a program that has to be installed.
///
/// @throws std::runtime_error naming a pointer that the study does not have, a value that is not a
///         number, or why gnuplot drew nothing; the file is as it was then
void DrawPlot(Journal& journal, const PlotRequest& request);

} // namespace VarnelBase::Studies
