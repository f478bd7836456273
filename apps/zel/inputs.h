#pragma once
#include "common_options.h"

#include <zel/core/image.h>
#include <zel/platform/foundation/failure.h>

#include <sys/types.h>

namespace zel::program {

/// One picture to read.
struct Input {
    std::string name;      ///< as a person wrote it, or found below a folder; "-" for standard input
    std::string file;      ///< what outputs are named after, where that is not `name`: the last part of an address
    std::string below;     ///< the folders between the folder that was named and this file: "2024/"; else empty
    Ref<const Data> bytes; ///< of standard input; null for files, and where `failure` says why
    std::optional<ZelNote> failure;
    dev_t device = 0; ///< of the file, where it exists; tells whether an output would hit it
    ino_t node = 0;

    [[nodiscard]] bool isStandardInput() const { return name == standardInput; }
    [[nodiscard]] const std::string& fileName() const { return file.empty() ? name : file; }
    static constexpr std::string_view standardInput = "-";
};

struct Inputs {
    std::vector<Input> list;
    bool several = false; ///< a folder or a list was named, or more than one file: outputs need names of their own
};

/// The inputs in the order in which they were named, folders in the order of names. A file that is missing is an input
/// all the same: it fails in its turn. Standard input is read at once. Throws UsageError: no input, a folder without -r
/// or without pictures, a list that does not read.
Inputs collectInputs(const InputOptions& options);

/// The picture of an input; null with the reason noted.
Ref<ZelImage> openInput(const Input& input);

} // namespace zel::program
