#pragma once
#include <zel/platform/foundation/date.h>
#include <zel/platform/foundation/json_coding.h>

namespace zel {

/// Seconds since 2001-01-01 00:00:00 UTC, with fractions.
template <>
struct JsonForm<Date> {
    static OrderedJson write(const Date& value, const JsonPath& path);
    static Date read(const JsonReader& in);
};

} // namespace zel
