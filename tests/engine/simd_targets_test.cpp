#include <dlfcn.h>
#include <gtest/gtest.h>
#include <hwy/targets.h>

namespace zel::engine {
namespace {

// Highway's own library gives the expected value, where it is installed.
TEST(SimdTargets, AreThoseThatHighwayFinds)
{
    void* const library = dlopen("libhwy.so.1", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
        GTEST_SKIP() << "libhwy.so.1 is not installed";
    using Ask = std::int64_t (*)();
    const auto ask = reinterpret_cast<Ask>(dlsym(library, "_ZN3hwy16SupportedTargetsEv"));
    ASSERT_NE(ask, nullptr);
    EXPECT_EQ(hwy::SupportedTargets(), ask());
}

TEST(SimdTargets, PlainCodeRunsEverywhere)
{
    EXPECT_EQ(hwy::SupportedTargets() & HWY_SCALAR, HWY_SCALAR);
    EXPECT_EQ(hwy::SupportedTargets() & HWY_EMU128, HWY_EMU128);
}

TEST(SimdTargets, TestsChooseAndGiveBack)
{
    const std::int64_t all = hwy::SupportedTargets();
    hwy::SetSupportedTargetsForTest(HWY_SCALAR);
    EXPECT_EQ(hwy::SupportedTargets(), HWY_SCALAR);
    EXPECT_FALSE(hwy::GetChosenTarget().IsInitialized());
    hwy::SetSupportedTargetsForTest(0);
    EXPECT_EQ(hwy::SupportedTargets(), all);
}

TEST(SimdTargets, DisabledOnesAreLeftOutUnlessNoneIsLeft)
{
    const std::int64_t all = hwy::SupportedTargets();
    hwy::DisableTargets(HWY_SCALAR);
    EXPECT_EQ(hwy::SupportedTargets(), all & ~HWY_SCALAR);
    hwy::DisableTargets(all);
    EXPECT_EQ(hwy::SupportedTargets(), HWY_STATIC_TARGET);
    hwy::DisableTargets(0);
    EXPECT_EQ(hwy::SupportedTargets(), all);
}

} // namespace
} // namespace zel::engine
