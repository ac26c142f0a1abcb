// Which rows a command is about, as people write it: "3", "3-7", "3,5-9", "all". Pure functions.
#ifndef KORVO_TQCTL_OPTIONS_SELECTION_H
#define KORVO_TQCTL_OPTIONS_SELECTION_H

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

} // namespace tqctl

#endif
