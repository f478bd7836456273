// Files of any format: the content decides which one.
#include "decode_checks.h"
#include "target.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    zel::fuzz::require(zel::checks::problemOfDecoding({data, size}));
    zel::fuzz::require(zel::checks::problemOfCodedData({data, size}));
    return 0;
}
