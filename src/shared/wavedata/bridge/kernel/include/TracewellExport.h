// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// Marks what the shared library shows; everything else is hidden.
#define TRACEWELL_API __attribute__((visibility("default")))
