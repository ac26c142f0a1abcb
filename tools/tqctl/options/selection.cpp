#include "options/selection.h"

#include <charconv>
#include <limits>

namespace tqctl {
namespace {

std::optional<std::int32_t> identifier(std::string_view text) {
    std::int32_t number = 0;
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end && number >= 0 ? std::optional(number) : std::nullopt;
}

std::optional<IdentifierRange> range(std::string_view text) {
    if (text == "all") {
        return IdentifierRange{0, std::numeric_limits<std::int32_t>::max()};
    }
    const std::size_t dash = text.find('-');
    const auto first = identifier(text.substr(0, dash));
    const auto last = dash == std::string_view::npos ? first : identifier(text.substr(dash + 1));
    return first && last && *first <= *last ? std::optional(IdentifierRange{*first, *last}) : std::nullopt;
}

} // namespace

std::optional<std::vector<IdentifierRange>> read_selection(std::string_view text) {
    std::vector<IdentifierRange> ranges;
    for (bool more = true; more;) {
        const std::size_t comma = text.find(',');
        const auto next = range(text.substr(0, comma));
        if (!next) {
            return std::nullopt;
        }
        ranges.push_back(*next);
        more = comma != std::string_view::npos;
        text.remove_prefix(more ? comma + 1 : 0);
    }
    return ranges;
}

} // namespace tqctl
