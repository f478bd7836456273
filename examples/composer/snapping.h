#pragma once
#include <zel/zel.h>

/// Where a layer that is dragged comes to lie.
struct Snapped {
    zel::CGPoint at;                ///< its centre, in composer units
    std::vector<double> vertical;   ///< x of the lines that hold it there; empty where none does
    std::vector<double> horizontal; ///< their y
};

/// Pulls a layer whose centre is dragged to `at` to the nearest lines. In composer units; the view's size is in pixels.
Snapped snap(const zel::ZelComposer& composer, const zel::ZelComposer::Layer& layer, zel::CGPoint at, zel::CGSize view);
