#pragma once
#include <zel/export.h>
#include <zel/platform/foundation/modules.h>

namespace zel::testing {

/// What the module of this test offers.
struct SampleModule {
    static constexpr std::uint32_t version = 7;
    int (*twice)(int number);
};

} // namespace zel::testing

extern "C" ZEL_API zel::ModuleEntry zel_module();
