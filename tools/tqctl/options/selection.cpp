#include "options/selection.h"

#include "base/text.h"

#include <limits>

namespace tqctl {
namespace {

std::optional<IdentifierRange> range(std::string_view text) {
    if (text == "all") {
        return IdentifierRange{0, std::numeric_limits<std::int32_t>::max()};
    }
    const std::size_t dash = text.find('-');
    const auto first = number_in<std::int32_t>(text.substr(0, dash));
    const auto last = dash == std::string_view::npos ? first : number_in<std::int32_t>(text.substr(dash + 1));
    return first && last && *first >= 0 && *first <= *last ? std::optional(IdentifierRange{*first, *last})
                                                           : std::nullopt;
}

} // namespace

std::optional<std::vector<IdentifierRange>> read_selection(std::string_view text) {
    std::vector<IdentifierRange> ranges;
    for (const std::string_view part : split(text, ',')) {
        const auto next = range(part);
        if (!next) {
            return std::nullopt;
        }
        ranges.push_back(*next);
    }
    return ranges;
}

} // namespace tqctl
