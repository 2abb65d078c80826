// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "draw/Lane.h"

namespace tracewell {

// clang-format off
/// Colours, fonts and fill patterns of a picture, for the classes that its parts have.
constexpr const char* kSvgStyle = R"svg(<defs>
<pattern id="hx" width="6" height="6" patternUnits="userSpaceOnUse" patternTransform="rotate(45)">
<rect width="6" height="6" fill="#ffebe9"/><path d="M0 0V6" stroke="#ffaba8" stroke-width="3"/>
</pattern>
<pattern id="hu" width="6" height="6" patternUnits="userSpaceOnUse" patternTransform="rotate(-45)">
<rect width="6" height="6" fill="#fbefff"/><path d="M0 0V6" stroke="#d8b9ff" stroke-width="3"/>
</pattern>
<pattern id="hw" width="6" height="6" patternUnits="userSpaceOnUse" patternTransform="rotate(45)">
<rect width="6" height="6" fill="#fff8c5"/><path d="M0 0V6" stroke="#eac54f" stroke-width="2"/>
</pattern>
<pattern id="hd" width="6" height="6" patternUnits="userSpaceOnUse" patternTransform="rotate(45)">
<rect width="6" height="6" fill="#f6f8fa"/><path d="M0 0V6" stroke="#d0d7de" stroke-width="2"/>
</pattern>
</defs>
<style>
text{font-family:ui-monospace,"DejaVu Sans Mono",Menlo,Consolas,monospace;font-size:12px;fill:#1f2328}
.title,.range,.note{font-family:system-ui,"Segoe UI","DejaVu Sans",Helvetica,Arial,sans-serif}
.title{font-size:13px;font-weight:600}
.range,.note{font-size:11px;fill:#656d76}
.range{text-anchor:end}
.scope{fill:#8c959f}
.tick{font-size:10px;fill:#656d76;text-anchor:middle}
path{fill:none}
.page{fill:#fff}
.stripe{fill:#f6f8fa}
.grid{stroke:#d8dee4;stroke-width:1}
.ruler{stroke:#8c959f;stroke-width:1}
.lv{stroke:#1a7f37;stroke-width:1.5;stroke-linejoin:round}
.hi{fill:#1a7f37;fill-opacity:.1}
.wk{stroke:#1a7f37;stroke-width:1.5;stroke-dasharray:3 2}
.hz{stroke:#bc4c00;stroke-width:1.75}
.dl{fill:#1a7f37;fill-opacity:.85}
.db{fill:#0969da;fill-opacity:.7}
.xl,.ul,.wl,.nl{stroke-width:1}
.xl{fill:url(#hx);stroke:#cf222e}
.ul{fill:url(#hu);stroke:#8250df}
.wl{fill:url(#hw);stroke:#9a6700}
.nl{fill:url(#hd);stroke:#6e7781}
.bu,.bf,.bp,.bx,.bq,.bw,.bn{stroke-width:1.25;stroke-linejoin:round}
.bu{fill:#ddf4ff;stroke:#0969da}
.bp{fill:#ffebe9;stroke:#cf222e}
.bx{fill:url(#hx);stroke:#cf222e}
.bq{fill:url(#hu);stroke:#8250df}
.vt,.vx{font-size:11px;text-anchor:middle}
.vt{fill:#0a3069}
.vx{fill:#82071e}
.bf{fill:#fff1e5;stroke:#bc4c00}
.bw{fill:url(#hw);stroke:#9a6700}
.bn{fill:url(#hd);stroke:#6e7781}
.cu{stroke:#0969da;stroke-width:1.5;stroke-linejoin:round}
.ho{pointer-events:all}
.heading{font-weight:600;fill:#424a53}
.part{fill:#eaeef2}
.limit{font-size:9px;fill:#656d76;text-anchor:end}
.ev{stroke:#bf3989;stroke-width:1.5;stroke-linejoin:round}
</style>
)svg";
// clang-format on

/// A filled stretch of a lane.
inline const char* boxStyle(Look look, bool digital)
{
    switch (look) {
    case Look::Dense:
        return digital ? "dl" : "db";
    case Look::Uninitialized:
        return "ul";
    case Look::Weak:
        return "wl";
    case Look::DontCare:
        return "nl";
    default:
        return "xl";
    }
}

inline const char* busStyle(Look look)
{
    switch (look) {
    case Look::Unknown:
        return "bx";
    case Look::Uninitialized:
        return "bq";
    case Look::Weak:
        return "bw";
    case Look::DontCare:
        return "bn";
    case Look::BusFloating:
        return "bf";
    case Look::BusInPart:
        return "bp";
    default:
        return "bu";
    }
}

inline const char* textStyle(Look look)
{
    return look == Look::Bus ? "vt" : "vx";
}

} // namespace tracewell
