// write_seeds TARGET FOLDER: the seeds of a fuzz target as files, for libFuzzer to start from.
#include "seeds.h"

#include <filesystem>
#include <fstream>
#include <iostream>

int main(int count, char** arguments)
{
    if (count != 3) {
        std::cerr << "write_seeds TARGET FOLDER\n";
        return 2;
    }
    for (const zel::seeds::Seed& seed : zel::seeds::seedsOf(arguments[1])) {
        std::ofstream file(std::filesystem::path(arguments[2]) / seed.name, std::ios::binary);
        file.write(reinterpret_cast<const char*>(seed.bytes.data()), static_cast<std::streamsize>(seed.bytes.size()));
    }
}
