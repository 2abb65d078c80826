// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "draw/Lane.h"
#include "names/TimeText.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tracewell {

/// What is drawn, in whatever form.
struct Picture
{
    /// What stands above the lanes: the name of the recording.
    std::string title;
    std::vector<Lane> lanes;
    TimeWindow window;
    TimeText timeText;
    /// Up to when the recording goes, when the window was chosen to show its start alone.
    std::optional<long long> wholeEnd;
    /// Something that a person who looks at it must know; may be empty.
    std::string note;

    std::vector<Signal> signals() const;
    /// The window in words: "0 ns – 2 us", with "of 1.2 ms" behind it for a part of the whole.
    std::string rangeText() const;
};

/// Fills the picture's lanes and sets the resolution of its window; `waveWidth` is how many places
/// a lane has, and `shortestText` how many of them a text must have at least.
void fillLanes(Picture& picture, const SignalValues& values, long long latestTime,
               unsigned int waveWidth, unsigned int shortestText);

/// What a form of picture can show.
struct PictureScale
{
    /// Places that a lane has: pixels or columns.
    double wave = 1;
    /// Places that a character of a value takes, and what is left free beside them.
    double character = 1;
    double margin = 0;
    /// Places that a level must have to look like one.
    double narrowest = 2;
};

/// For a run with too many changes for one picture: the window from its first value on to a round
/// time up to which it is readable. None when the whole of it is readable.
std::optional<TimeWindow> findReadableStart(const SignalValues& values, const Picture& whole,
                                            long long latestTime, const PictureScale& scale);

/// The picture as SVG, `width` pixels wide and as high as it needs to be.
std::string drawSvg(const Picture& picture, unsigned int width);
/// Pixels that the lanes of such a picture are wide: the resolution to ask for follows from it.
unsigned int svgWaveWidth(const std::vector<Signal>& signals, unsigned int width);
PictureScale svgScale(const std::vector<Signal>& signals, unsigned int width);
/// Pixels that a text must have at least.
constexpr unsigned int kSvgShortestText = 12;

/// The picture as lines of text with box characters, `columns` wide.
std::string drawText(const Picture& picture, unsigned int columns);
/// Columns that the lanes of such a picture are wide.
unsigned int textWaveWidth(const std::vector<Signal>& signals, unsigned int columns);
/// Lines that it has, its note left out.
std::size_t textLines(const std::vector<Signal>& signals);
PictureScale textScale(const std::vector<Signal>& signals, unsigned int columns);

} // namespace tracewell
