#include "json_inputs.h"

#include <zel/platform/foundation/notes.h>

namespace zel::program {

std::optional<std::string> textOfInput(const Input& input)
{
    if (input.failure)
        return fail(input.failure->code, input.failure->operation, input.failure->message, input.failure->subject);
    const auto bytes = input.isStandardInput() ? std::optional(*input.bytes) : Data::read(URL::file(input.name));
    if (!bytes)
        return std::nullopt;
    return std::string(bytes->span().begin(), bytes->span().end());
}

void failDecoding(std::string_view operation, const ZelDecodingError& error)
{
    const auto& path = error.codingPath();
    (void)fail(ZelFailureCode::unreadable, operation, path.empty() ? error.what() : path + ": " + error.what());
}

} // namespace zel::program
