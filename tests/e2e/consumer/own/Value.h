// SPDX-License-Identifier: BSD-3-Clause

// A header of the user's own that has the name of one of the library's.

#pragma once

struct OwnValue
{};
