// Which rows a command is about, as people write it: "3", "3-7", "3,5-9", "all". Pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace tqctl {

struct IdentifierRange {
    std::int32_t first;
    std::int32_t last; // inclusive
    bool operator==(const IdentifierRange &) const = default;
};

// Nothing where the text is none of these.
std::optional<std::vector<IdentifierRange>> read_selection(std::string_view text);

// The identifiers that are selected, each once, from the smallest to the largest. A range takes what is there; a single
// identifier is selected whether it is there or not.
std::vector<std::int32_t> selected(const std::vector<IdentifierRange> &ranges, std::vector<std::int32_t> there);

} // namespace tqctl
