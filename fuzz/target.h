#pragma once
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

/// Every target defines it: 0 for all inputs, or it ends the process.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace zel::fuzz {

/// Ends the process where something is wrong, so that the input is kept.
inline void require(const std::string& problem)
{
    if (problem.empty())
        return;
    std::fprintf(stderr, "property broken: %s\n", problem.c_str());
    std::abort();
}

inline void require(bool holds, const char* property)
{
    require(holds ? std::string() : std::string("not ") + property);
}

/// Takes an input apart into choices; gives zeros once it is used up.
class Choices {
public:
    Choices(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}
    [[nodiscard]] bool any() const { return left_ > 0; }
    std::uint8_t byte() { return left_ > 0 ? (--left_, *data_++) : std::uint8_t{0}; }
    /// From `low` to `high`.
    int number(int low, int high) { return low + (byte() << 8 | byte()) % (high - low + 1); }
    double fraction() { return byte() / 255.0; }

private:
    const std::uint8_t* data_;
    std::size_t left_;
};

} // namespace zel::fuzz
