// replay TARGET [FOLDER…]: what a fuzz target is given where there is no fuzzer: the files of the folders (found
// earlier and kept), the seeds, and damage done to the seeds, always the same.
#include "seeds.h"
#include "target.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <random>

namespace {

using zel::seeds::Bytes;

// Fresh memory of the exact size, so that a read beyond the end is seen.
void give(const Bytes& bytes)
{
    const std::unique_ptr<std::uint8_t[]> copy(new std::uint8_t[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), copy.get());
    LLVMFuzzerTestOneInput(copy.get(), bytes.size());
}

Bytes damaged(Bytes bytes, std::mt19937& random)
{
    const auto below = [&](std::size_t bound) { return static_cast<std::size_t>(random()) % bound; };
    for (std::size_t changes = 1 + below(4); changes > 0 && !bytes.empty(); --changes) {
        switch (below(5)) {
        case 0:
            bytes.resize(below(bytes.size()));
            break;
        case 1:
            bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(below(bytes.size())),
                         static_cast<std::uint8_t>(random()));
            break;
        default:
            bytes[below(bytes.size())] = below(3) == 0 ? std::uint8_t{255} : static_cast<std::uint8_t>(random());
        }
    }
    return bytes;
}

} // namespace

int main(int count, char** arguments)
{
    if (count < 2) {
        std::cerr << "replay TARGET [FOLDER…]\n";
        return 2;
    }
    std::size_t inputs = 0;
    for (int i = 2; i < count; ++i) {
        if (!std::filesystem::is_directory(arguments[i]))
            continue;
        for (const auto& entry : std::filesystem::directory_iterator(arguments[i])) {
            std::ifstream file(entry.path(), std::ios::binary);
            give(Bytes(std::istreambuf_iterator<char>(file), {}));
            ++inputs;
        }
    }
    std::mt19937 random(1);
    for (const zel::seeds::Seed& seed : zel::seeds::seedsOf(arguments[1])) {
        give(seed.bytes);
        for (int i = 0; i < 24; ++i)
            give(damaged(seed.bytes, random));
        inputs += 25;
    }
    std::cout << inputs << " inputs\n";
    return inputs > 0 ? 0 : 1;
}
