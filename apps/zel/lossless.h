#pragma once
#include "encoding.h"
#include "inputs.h"

#include <zel/io/lossless_jpeg.h>

#include <functional>

namespace zel::program {

/// The flags of verbs that can leave the coded data of a JPEG as they are.
struct LosslessOptions {
    bool wanted = false;
    bool trim = false;

    /// `canTrim`: the verb turns pictures, so that edges can be in the way.
    void declare(Arguments& arguments, bool canTrim);
    /// Refuses flags that only make sense where pixels are coded anew.
    void check(const EncodingOptions& encoding) const;
};

/// What is changed in a JPEG of that size, upright, in pixels.
using LosslessStep = std::function<LosslessChange(CGSize size)>;

/// The input's file, changed; absent with the reason noted.
std::optional<Data> changeInput(const Input& input, const LosslessStep& step, std::optional<double> dpi);

} // namespace zel::program
