#pragma once

/// Marks what the shared library shows to hosts; everything else stays hidden.
#define ZEL_API __attribute__((visibility("default")))
