#pragma once
#include <gtest/gtest.h>
#include <hwy/targets.h>

namespace zel::engine {

/// Runs `test` once for every instruction set that this machine has and this build was made for.
template <class Test>
void forEachTarget(const Test& test)
{
    for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
        hwy::SetSupportedTargetsForTest(target);
        SCOPED_TRACE(hwy::TargetName(target));
        test();
    }
    hwy::SetSupportedTargetsForTest(0);
}

} // namespace zel::engine
