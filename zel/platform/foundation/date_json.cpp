#include <zel/platform/foundation/date_json.h>

#include <cmath>

namespace zel {
namespace {

using Seconds = std::chrono::duration<double>;

/// 2001-01-01 00:00:00 UTC.
constexpr Date reference = Date(std::chrono::seconds(978'307'200));
/// A clock of nanoseconds in 64 bits reaches 292 years to either side of 1970.
constexpr double furthest = 8.2e9;

} // namespace

OrderedJson JsonForm<Date>::write(const Date& value, const JsonPath& path)
{
    return JsonForm<double>::write(Seconds(value - reference).count(), path);
}

Date JsonForm<Date>::read(const JsonReader& in)
{
    const double seconds = JsonForm<double>::read(in);
    if (!(std::fabs(seconds) < furthest))
        in.corrupted("the moment lies further away than dates reach");
    return reference + std::chrono::duration_cast<Date::duration>(Seconds(seconds));
}

} // namespace zel
