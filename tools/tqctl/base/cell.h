// A value of the database.
#ifndef KORVO_TQCTL_BASE_CELL_H
#define KORVO_TQCTL_BASE_CELL_H

#include <cstdint>
#include <string>
#include <variant>

namespace tqctl {

struct Blob {
    std::string bytes;
    bool operator==(const Blob &) const = default;
};

// std::monostate is SQL's NULL.
using Cell = std::variant<std::monostate, std::int64_t, double, std::string, Blob>;

template <class... Kinds> struct Overloaded : Kinds... { using Kinds::operator()...; };
template <class... Kinds> Overloaded(Kinds...) -> Overloaded<Kinds...>;

} // namespace tqctl

#endif
