#include <zel/platform/foundation/coding.h>

namespace zel {

ZelDecodingError::ZelDecodingError(Kind kind, std::string codingPath, const std::string& description)
    : std::runtime_error(description), kind_(kind), codingPath_(std::move(codingPath))
{
}

ZelDecodingError::Kind ZelDecodingError::kind() const
{
    return kind_;
}
const std::string& ZelDecodingError::codingPath() const
{
    return codingPath_;
}

ZelEncodingError::ZelEncodingError(std::string codingPath, const std::string& description)
    : std::runtime_error(description), codingPath_(std::move(codingPath))
{
}

const std::string& ZelEncodingError::codingPath() const
{
    return codingPath_;
}

} // namespace zel
