#include <zel/platform/foundation/date_json.h>

#include <cmath>

namespace zel {
namespace {

using Seconds = std::chrono::duration<double>;

/// From 1970 to 2001-01-01 00:00:00 UTC.
constexpr std::chrono::seconds reference(978'307'200);
/// A clock of nanoseconds in 64 bits reaches 292 years to either side of 1970.
constexpr double furthest = 9.223e9;

} // namespace

// Whole seconds and the rest apart: from 1678 to 2001 there are more nanoseconds than 64 bits hold.

OrderedJson JsonForm<Date>::write(const Date& value, const JsonPath& path)
{
    const auto whole = std::chrono::floor<std::chrono::seconds>(value);
    const Seconds seconds(whole.time_since_epoch() - reference), rest(value - whole);
    return JsonForm<double>::write((seconds + rest).count(), path);
}

Date JsonForm<Date>::read(const JsonReader& in)
{
    const double seconds = JsonForm<double>::read(in);
    const double whole = std::floor(seconds), since1970 = whole + static_cast<double>(reference.count());
    if (!(std::fabs(since1970) < furthest))
        in.corrupted("the moment lies further away than dates reach");
    return Date(std::chrono::seconds(static_cast<std::int64_t>(since1970))) +
           std::chrono::round<Date::duration>(Seconds(seconds - whole));
}

} // namespace zel
