#pragma once
#include "batch.h"
#include "inputs.h"

#include <nlohmann/json.hpp>

namespace zel::program {

/// What a verb tells of one input: in the table or text that people read, and in the JSON of its outcome.
template <class Row>
struct Told {
    Row row;
    nlohmann::ordered_json facts;
};

/// Asks `tell(input)` of every input, `together` at once: what it gives, or nothing with the reason noted. With
/// --strict a warning fails the input. Gives the rows in the order of the inputs, empty ones where nothing is told.
template <class Row, class Tell>
std::vector<Row> tellAll(const Inputs& inputs, int together, const ReportOptions& reports, Reporter& reporter,
                         const Tell& tell)
{
    std::vector<Row> rows(inputs.list.size());
    const auto work = [&](std::size_t index, const ZelReport& report) {
        const Input& input = inputs.list[index];
        std::optional<Told<Row>> told = tell(input);
        if (!told)
            return failed(input.name, {});
        Outcome outcome;
        outcome.input = input.name;
        if (const auto warning = reports.strict ? firstWarning(report) : std::nullopt) {
            outcome.state = Outcome::State::failed;
            outcome.failure = *warning;
            return outcome;
        }
        rows[index] = std::move(told->row);
        outcome.facts = std::make_shared<const nlohmann::ordered_json>(std::move(told->facts));
        return outcome;
    };
    runAll(inputs.list.size(), together, work, reporter);
    return rows;
}

} // namespace zel::program
