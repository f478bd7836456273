#include "sample_module.h"

namespace {

const zel::testing::SampleModule sample = {[](int number) { return number * 2; }};

} // namespace

extern "C" ZEL_API zel::ModuleEntry zel_module()
{
    return {zel::testing::SampleModule::version, &sample};
}
