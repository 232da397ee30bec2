#pragma once

/// Marks what the shared library shows to its users; everything else stays hidden.
#define KEL_EXPORT __attribute__((visibility("default")))
