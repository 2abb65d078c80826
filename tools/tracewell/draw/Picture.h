#pragma once

#include "draw/Lane.h"
#include "text/TimeText.h"

#include <string>
#include <string_view>
#include <vector>

namespace tracewell {

/// What is drawn, in whatever form.
struct Picture
{
    /// The recording's name.
    std::string title;
    std::vector<Lane> lanes;
    TimeWindow window;
    TimeText timeText;
    /// Something that a person who looks at it must know; may be empty.
    std::string note;
};

/// The scopes that all signals have in common, as "top.dut."; empty when there are none.
std::string commonScope(const std::vector<Signal>& signals);

/// Fills the picture's lanes and sets the resolution of its window; `waveWidth` is how many places
/// a lane has, and `shortestText` how many of them a text must have at least.
void fillLanes(Picture& picture, const SignalValues& values, long long latestTime,
               unsigned int waveWidth, unsigned int shortestText);

/// The picture as SVG, `width` pixels wide and as high as it needs to be.
std::string drawSvg(const Picture& picture, unsigned int width);
/// Pixels that the lanes of such a picture are wide: the resolution to ask for follows from it.
unsigned int svgWaveWidth(const std::vector<Signal>& signals, unsigned int width);
/// Pixels that a text must have at least.
constexpr unsigned int kSvgShortestText = 12;

/// The picture as lines of text with box characters, `columns` wide.
std::string drawText(const Picture& picture, unsigned int columns);
/// Columns that the lanes of such a picture are wide.
unsigned int textWaveWidth(const std::vector<Signal>& signals, unsigned int columns);

} // namespace tracewell
