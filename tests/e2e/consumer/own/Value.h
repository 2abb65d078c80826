// A header of the user's own that has the name of one of the library's.

#pragma once

struct OwnValue
{};
