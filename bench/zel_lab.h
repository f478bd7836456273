#pragma once
#include <zel/engine/pixel_buffer.h>

#include <functional>
#include <map>
#include <string>

// The program zel-lab: our operations in memory, timed in the form in which other libraries' programs are timed, so
// that one driver can run all of them in turn. `zel-lab OPERATION key=value…` loads bare RGBA rows, repeats the
// operation, and prints one line: RESULT wall_s=… cpu_s=… runs=…, the medians. The result goes to out=FILE as bare
// rows, untimed.
namespace zel::lab {

class Arguments {
public:
    Arguments(int count, char** words);

    [[nodiscard]] const std::string& operation() const { return operation_; }
    [[nodiscard]] std::string text(const std::string& key, const std::string& otherwise = "") const;
    /// The number said for a key; `otherwise` where none is. Ends the program where it is not a number.
    [[nodiscard]] int number(const std::string& key, int otherwise = 0) const;

private:
    std::string operation_;
    std::map<std::string, std::string> values_;
};

/// Ends the program with a sentence on standard error.
[[noreturn]] void giveUp(const std::string& why);

/// The whole of a file.
std::string readFile(const std::string& path);
/// Rows of RGBA, in=FILE w=WIDTH h=HEIGHT.
engine::PixelBuffer readPicture(const Arguments& arguments);
/// Writes to out=FILE, where one is given.
void writeResult(const Arguments& arguments, const void* data, std::size_t bytes);
void writeResult(const Arguments& arguments, const engine::ConstPixels& pixels);

/// Runs once to warm up, then at least three times and for 0.8 s, and prints the medians.
void measure(const std::function<void()>& run);

/// An operation by its name; `threads=N` has been applied when it runs. One static object in a source adds one.
struct Operation {
    Operation(const char* name, void (*run)(const Arguments& arguments));
};

} // namespace zel::lab
