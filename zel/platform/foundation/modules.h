#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Parts of the library that stand in shared objects of their own, because what they link is large, slow to start, or
// may be missing: opened when something needs them first, never closed.
namespace zel {

/// What a module's one symbol gives: `extern "C" ZEL_API zel::ModuleEntry zel_module() { return {Api::version, &api};
/// }` `Api` is a struct of function pointers with a `static constexpr std::uint32_t version` that is raised when it
/// changes.
struct ModuleEntry {
    std::uint32_t version;
    const void* api;
};

/// The module `zel-<name>.so`. Null, `missingPart` noted with the package to install, where it is not there, cannot be
/// loaded or is of another version; the next call tries again. A module that was opened costs a look-up under a lock.
const void* openModule(std::string_view name, std::string_view package, std::uint32_t version);

template <class Api>
const Api* openModule(std::string_view name, std::string_view package)
{
    return static_cast<const Api*>(openModule(name, package, Api::version));
}

/// Where modules are looked for, in this order: the folder "zelimaging" beside, in the lib folder beside, or in the lib
/// folder above the folder of the library or program that contains this code.
std::vector<std::string> moduleFolders();

/// The path of a program of our own that the library runs: in a module folder, or in libexec/zelimaging of the tree
/// that it belongs to. Absent where it is not installed (not noted).
std::optional<std::string> installedProgram(std::string_view name);

} // namespace zel
