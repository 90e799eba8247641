#pragma once

#include <string>

#include "Journal.h"

namespace VarnelBase::Studies {

/// What a plot shows. Each pointer names a parameter or a collected member of the study.
struct PlotRequest {
    std::string x;     ///< along the x axis
    std::string y;     ///< along the y axis
    std::string group; ///< draws one curve for each of its values; empty: one curve
    std::string color; ///< the colour of a heat map over x and y; empty: curves
    std::string file;  ///< ".svg" or ".png"; empty: text on standard output
};

/// Draws the finished points of a study with the program gnuplot, which must be installed.
///
/// @throws std::runtime_error naming a pointer that the study does not have, a value that is not a
///         number, or why gnuplot drew nothing; the file is then unchanged
void DrawPlot(Journal& journal, const PlotRequest& request);

} // namespace VarnelBase::Studies
