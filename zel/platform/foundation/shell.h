#pragma once
#include <chrono>
#include <optional>
#include <span>
#include <string>

namespace zel {

/// Runs a program, without a shell, and waits for its end: what it printed on standard output, at most a megabyte,
/// without a trailing line feed. Standard input is empty, standard error goes where ours goes. Absent, noted as
/// `missingPart`, where it cannot be started, and as `limit` where it takes longer than `time` (0 = any): then it is
/// killed, with all that it started.
std::optional<std::string> shell2(const std::string& launchPath, std::span<const std::string> arguments,
                                  std::chrono::milliseconds time = std::chrono::milliseconds(0));

} // namespace zel
