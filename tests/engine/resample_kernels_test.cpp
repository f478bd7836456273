#include <zel/engine/resample_kernels.h>

#include <engine/targets.h>

#include <random>

// The definition against the kernels of every instruction set, with guards around what they write.
namespace zel::engine {
namespace {

template <class Value>
class Row {
public:
    static constexpr std::size_t guard = 64;

    /// Values between the bounds, `shift` values away from where a vector would be aligned.
    Row(std::size_t count, Value low, Value high, std::size_t shift, std::uint32_t seed) : shift_(shift)
    {
        std::mt19937 random(seed);
        std::uniform_int_distribution<int> values(low, high);
        for (std::size_t i = 0; i < guard + shift + count + guard; ++i)
            values_.push_back(static_cast<Value>(values(random)));
    }

    [[nodiscard]] Value* data() { return values_.data() + guard + shift_; }
    [[nodiscard]] const Value* data() const { return values_.data() + guard + shift_; }
    friend bool operator==(const Row& a, const Row& b) { return a.values_ == b.values_; }

private:
    std::vector<Value> values_;
    std::size_t shift_;
};

template <class Depth>
class ResampleKernels : public testing::Test {
protected:
    using Component = typename Depth::Component;
    using Middle = typename Depth::Middle;
    using Sum = typename Depth::Sum;
    using Definition = ReferenceKernels<Depth>;

    static constexpr Component white = std::numeric_limits<Component>::max();
    // As far as weights of less than twice their sum in magnitude can bring a middle value.
    static constexpr Middle highest = static_cast<Middle>(int{white} * 3 / 2 << Depth::middleBits);
    static constexpr Middle lowest = static_cast<Middle>(-(int{white} / 2 << Depth::middleBits));

    /// Weights as Lanczos has them: some negative, the exact sum.
    static std::vector<std::int32_t> weightsOf(int count)
    {
        const std::optional<Axis> axis = makeAxis(count, 1, 0, count, Kernel::lanczos3, Depth::weightBits);
        std::vector<std::int32_t> weights(axis->weights.begin(), axis->weights.end());
        if (count > 3) { // beyond what reductions of whole pictures give
            weights[0] -= 1 << (Depth::weightBits - 3);
            weights[static_cast<std::size_t>(count) / 2] += 1 << (Depth::weightBits - 3);
        }
        return weights;
    }

    template <class Value>
    static std::vector<Row<Value>> rowsOf(int taps, std::size_t count, Value low, Value high)
    {
        std::vector<Row<Value>> rows;
        for (int k = 0; k < taps; ++k)
            rows.emplace_back(count, low, high, static_cast<std::size_t>(k) % 5, static_cast<std::uint32_t>(k + 1));
        return rows;
    }

    template <class Value>
    static WeightedRows<Value> gather(TapRows<Value>& taps, const std::vector<std::int32_t>& weights,
                                      const std::vector<Row<Value>>& rows)
    {
        return taps.gather(weights.data(), static_cast<int>(weights.size()),
                           [&](int k) { return rows[static_cast<std::size_t>(k)].data(); });
    }

    /// `test(weights, count)` for numbers of taps and of components up to past several of the widest vectors.
    template <class Test>
    static void forTapsAndCounts(const Test& test)
    {
        for (const int taps : {1, 2, 3, 7, 24, 25}) {
            for (std::size_t pixels = 1; pixels <= 70; ++pixels) {
                SCOPED_TRACE(testing::Message() << taps << " taps, " << pixels << " pixels");
                test(weightsOf(taps), pixels * 4);
            }
        }
    }

    /// `test(taps, row)` for positions along rows of middle values.
    template <class Test>
    static void forPositions(Middle low, Middle high, const Test& test)
    {
        const struct {
            int from, to;
        } cases[] = {{1, 1}, {1, 9}, {7, 30}, {100, 37}, {64, 8}, {65, 3}, {200, 1}, {50, 51}};
        for (const auto& c : cases) {
            SCOPED_TRACE(testing::Message() << c.from << " to " << c.to);
            const RowTaps taps(*makeAxis(c.from, c.to, 0, c.from, Kernel::lanczos3, Depth::weightBits),
                               8 * int{sizeof(Component)});
            const auto values = static_cast<std::size_t>(c.from + taps.padded) * 4;
            test(taps, Row<Middle>(values, low, high, 1, 5));
        }
    }
};

using Depths = testing::Types<Depth8, Depth16>;
TYPED_TEST_SUITE(ResampleKernels, Depths);

TYPED_TEST(ResampleKernels, VerticalIn)
{
    using F = TestFixture;
    F::forTapsAndCounts([](const std::vector<std::int32_t>& weights, std::size_t count) {
        const auto rows =
            F::template rowsOf<typename F::Component>(static_cast<int>(weights.size()), count, 0, F::white);
        TapRows<typename F::Component> taps(static_cast<int>(weights.size()));
        const auto in = F::gather(taps, weights, rows);
        Row<typename F::Middle> expected(count, 0, 99, 3, 7);
        const auto before = expected;
        F::Definition::verticalIn(in, expected.data(), count);
        forEachTarget([&] {
            auto actual = before;
            Kernels<TypeParam>::verticalIn(in, actual.data(), count);
            EXPECT_EQ(actual, expected);
        });
    });
}

TYPED_TEST(ResampleKernels, SumsOverBandsAreTheSumOverAll)
{
    using F = TestFixture;
    F::forTapsAndCounts([](const std::vector<std::int32_t>& weights, std::size_t count) {
        const int all = static_cast<int>(weights.size());
        const auto rows = F::template rowsOf<typename F::Component>(all, count, 0, F::white);
        TapRows<typename F::Component> taps(all);
        Row<typename F::Middle> expected(count, 0, 99, 3, 7);
        const auto before = expected;
        F::Definition::verticalIn(F::gather(taps, weights, rows), expected.data(), count);
        forEachTarget([&] {
            std::vector<typename F::Sum> sums(count + 64, typename F::Sum{0});
            for (int first = 0; first < all; first += 5) {
                const auto in = taps.gather(weights.data() + first, std::min(5, all - first),
                                            [&](int k) { return rows[static_cast<std::size_t>(first + k)].data(); });
                Kernels<TypeParam>::verticalAdd(in, sums.data(), count);
            }
            auto actual = before;
            Kernels<TypeParam>::verticalRound(sums.data(), actual.data(), count);
            EXPECT_EQ(actual, expected);
            EXPECT_EQ(std::count(sums.begin() + static_cast<std::ptrdiff_t>(count), sums.end(), 0), 64);
        });
    });
}

TYPED_TEST(ResampleKernels, VerticalOut)
{
    using F = TestFixture;
    F::forTapsAndCounts([](const std::vector<std::int32_t>& weights, std::size_t count) {
        const int all = static_cast<int>(weights.size());
        const auto rows = F::template rowsOf<typename F::Middle>(all, count, F::lowest, F::highest);
        TapRows<typename F::Middle> taps(all);
        const auto in = F::gather(taps, weights, rows);
        for (const Hold hold : {Hold::range, Hold::alpha}) {
            Row<typename F::Component> expected(count, 0, 99, 3, 7);
            const auto before = expected;
            F::Definition::verticalOut(in, hold, expected.data(), count);
            forEachTarget([&] {
                auto actual = before;
                Kernels<TypeParam>::verticalOut(in, hold, actual.data(), count);
                EXPECT_EQ(actual, expected);
            });
        }
    });
}

TYPED_TEST(ResampleKernels, HorizontalOut)
{
    using F = TestFixture;
    F::forPositions(F::lowest, F::highest, [](const RowTaps& taps, const Row<typename F::Middle>& in) {
        const std::size_t count = taps.axis.taps.size() * 4;
        for (const Hold hold : {Hold::range, Hold::alpha}) {
            Row<typename F::Component> expected(count, 0, 99, 3, 7);
            const auto before = expected;
            F::Definition::horizontalOut(in.data(), taps, hold, expected.data());
            forEachTarget([&] {
                auto actual = before;
                Kernels<TypeParam>::horizontalOut(in.data(), taps, hold, actual.data());
                EXPECT_EQ(actual, expected);
            });
        }
    });
}

TYPED_TEST(ResampleKernels, HorizontalIn)
{
    using F = TestFixture;
    F::forPositions(0, F::white, [](const RowTaps& taps, const Row<typename F::Middle>& in) {
        const std::size_t count = taps.axis.taps.size() * 4;
        Row<typename F::Middle> expected(count, 0, 99, 3, 7);
        const auto before = expected;
        F::Definition::horizontalIn(in.data(), taps, expected.data());
        forEachTarget([&] {
            auto actual = before;
            Kernels<TypeParam>::horizontalIn(in.data(), taps, actual.data());
            EXPECT_EQ(actual, expected);
        });
    });
}

TYPED_TEST(ResampleKernels, Widen)
{
    using F = TestFixture;
    for (std::size_t count = 4; count <= 280; count += 4) {
        const Row<typename F::Component> in(count, 0, F::white, 1, 5);
        Row<typename F::Middle> expected(count, 0, 99, 3, 7);
        const auto before = expected;
        F::Definition::widen(in.data(), expected.data(), count);
        forEachTarget([&] {
            auto actual = before;
            Kernels<TypeParam>::widen(in.data(), actual.data(), count);
            EXPECT_EQ(actual, expected);
        });
    }
}

} // namespace
} // namespace zel::engine
