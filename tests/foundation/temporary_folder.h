#pragma once
#include <zel/platform/foundation/url.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

namespace zel::testing {

/// A folder of the test's own, gone at its end. It reaches files by itself, whatever is made to fail for the library.
class TemporaryFolder {
public:
    /// In memory where the system offers that: for loops that would otherwise wait for the disk.
    explicit TemporaryFolder(bool inMemory = false)
    {
        const bool memory = inMemory && access("/dev/shm", W_OK) == 0;
        const std::filesystem::path base = memory ? "/dev/shm" : std::filesystem::temp_directory_path();
        std::string pattern = (base / "zel-test-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("no folder for the test");
        path_ = pattern;
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    [[nodiscard]] std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
    [[nodiscard]] URL url(const std::string& name) const { return URL::file(path_ / name); }

    /// Writes a file of the folder and gives its address.
    URL put(const std::string& name, const std::string& text) const
    {
        std::ofstream(path_ / name, std::ios::binary) << text;
        return url(name);
    }
    /// The bytes of a file of the folder; "absent" where there is none.
    [[nodiscard]] std::string text(const std::string& name) const
    {
        std::ifstream file(path_ / name, std::ios::binary);
        if (!file)
            return "absent";
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /// Names in the folder, sorted.
    [[nodiscard]] std::vector<std::string> names() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path_))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

private:
    std::filesystem::path path_;
};

/// Descriptors that this process has open.
inline std::ptrdiff_t openDescriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

} // namespace zel::testing
