#include "formats/exchange.h"

#include "base/text.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>

namespace tqctl {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char *format_name = "tqctl export";
constexpr std::int64_t format_version = 1;
constexpr std::string_view hex_digits = "0123456789abcdef";

std::string hex(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size() * 2);
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        out += hex_digits[byte >> 4U];
        out += hex_digits[byte & 0xFU];
    }
    return out;
}

std::string bytes_of(const Json &json, const std::string &where) {
    if (!json.is_string() || json.get_ref<const std::string &>().size() % 2 != 0) {
        throw FormatError(where + " is no even number of hexadecimal digits");
    }
    const auto &text = json.get_ref<const std::string &>();
    std::string out;
    out.reserve(text.size() / 2);
    for (std::size_t at = 0; at < text.size(); at += 2) {
        const auto byte = hex_byte(std::string_view(text).substr(at, 2));
        out += byte ? *byte : throw FormatError(where + " is no even number of hexadecimal digits");
    }
    return out;
}

struct ToJson {
    Json operator()(std::monostate) const { return nullptr; }
    Json operator()(std::int64_t number) const { return number; }
    Json operator()(double number) const {
        return std::isfinite(number) ? Json(number) : Json{{"real", number > 0 ? "inf" : "-inf"}};
    }
    Json operator()(const std::string &text) const { return is_utf8(text) ? Json(text) : Json{{"text", hex(text)}}; }
    Json operator()(const Blob &blob) const { return {{"blob", hex(blob.bytes)}}; }
};

// In ASCII: an export may be looked at on a terminal.
std::string dumped(const Json &json) {
    return json.dump(-1, ' ', true);
}

const Json &member(const Json &object, const char *name, const std::string &where) {
    const auto found = object.is_object() ? object.find(name) : object.end();
    if (!object.is_object() || found == object.end()) {
        throw FormatError(where + " has no \"" + name + "\"");
    }
    return *found;
}

std::int64_t integer(const Json &json, const std::string &where) {
    constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (!json.is_number_integer() || (json.is_number_unsigned() && json.get<std::uint64_t>() > most)) {
        throw FormatError(where + " is no integer of 64 bits");
    }
    return json.get<std::int64_t>();
}

const std::string &text(const Json &json, const std::string &where) {
    return json.is_string() ? json.get_ref<const std::string &>() : throw FormatError(where + " is no text");
}

const Json &array(const Json &json, const std::string &where) {
    return json.is_array() ? json : throw FormatError(where + " is no array");
}

ExportedCell special_cell(const Json &object, const std::string &where) {
    if (object.size() == 1) {
        const std::string &name = object.begin().key();
        const Json &value = object.begin().value();
        if (name == "blob") {
            return Cell(Blob{bytes_of(value, where)});
        }
        if (name == "text") {
            return Cell(bytes_of(value, where));
        }
        if (name == "real" && (value == "inf" || value == "-inf")) {
            const double infinity = std::numeric_limits<double>::infinity();
            return Cell(value == "inf" ? infinity : -infinity);
        }
        if (name == "masked" && value.is_string()) {
            return Masked{value.get<std::string>()};
        }
    }
    throw FormatError(where + " is no value");
}

ExportedCell cell(const Json &json, const std::string &where) {
    switch (json.type()) {
    case Json::value_t::null:
        return Cell();
    case Json::value_t::number_integer:
    case Json::value_t::number_unsigned:
        return Cell(integer(json, where));
    case Json::value_t::number_float:
        return Cell(json.get<double>());
    case Json::value_t::string:
        return Cell(json.get<std::string>());
    case Json::value_t::object:
        return special_cell(json, where);
    case Json::value_t::array:
    case Json::value_t::boolean:
    case Json::value_t::binary:
    case Json::value_t::discarded:
        break;
    }
    throw FormatError(where + " is no value");
}

ExportedTable table(const Json &json, std::size_t number) {
    const std::string place = "table " + std::to_string(number);
    ExportedTable table;
    table.name = text(member(json, "table", place), "the name of " + place);
    table.last_id = integer(member(json, "last_id", place), "\"last_id\" of " + place);
    for (const Json &column : array(member(json, "columns", place), "\"columns\" of " + place)) {
        table.columns.push_back(text(column, "a column of " + place));
    }
    for (const Json &row : array(member(json, "rows", place), "\"rows\" of " + place)) {
        const std::string where = concat("row ", table.rows.size() + 1, " of ", place);
        if (array(row, where).size() != table.columns.size()) {
            throw FormatError(where + " does not have a value for each column");
        }
        std::vector<ExportedCell> cells;
        for (const Json &value : row) {
            cells.push_back(cell(value, concat("value ", cells.size() + 1, " in ", where)));
        }
        table.rows.push_back(std::move(cells));
    }
    return table;
}

} // namespace

Export read_export(std::string_view json) {
    Json document;
    try {
        document = Json::parse(json);
    } catch (const Json::parse_error &error) {
        throw FormatError("invalid JSON at byte " + std::to_string(error.byte));
    } catch (const Json::out_of_range &) {
        throw FormatError("it holds a number that is too large");
    }
    if (member(document, "format", "it") != format_name) {
        throw FormatError("it is not marked as an export of this program");
    }
    if (integer(member(document, "version", "it"), "\"version\"") != format_version) {
        throw FormatError("it was written by a newer program");
    }
    Export result;
    result.masked = text(member(document, "passwords", "it"), "\"passwords\"") == "masked";
    std::set<std::string> names;
    for (const Json &each : array(member(document, "tables", "it"), "\"tables\"")) {
        result.tables.push_back(table(each, result.tables.size() + 1));
        if (!names.insert(result.tables.back().name).second) {
            throw FormatError(concat("table ", result.tables.size(), " was there before"));
        }
    }
    return result;
}

std::string export_start(bool masked) {
    return concat(R"({"format": ")", format_name, R"(", "version": )", format_version, R"(, "passwords": ")",
                  masked ? "masked" : "shown", R"(", "tables": [)");
}

std::string table_start(bool first, const std::string &name, std::int64_t last_id,
                        const std::vector<std::string> &columns) {
    return concat(first ? "" : ",", "\n{\"table\": ", dumped(name), ", \"last_id\": ", last_id,
                  ", \"columns\": ", dumped(columns), ", \"rows\": [");
}

std::string row_text(bool first, const std::vector<ExportedCell> &row) {
    Json cells = Json::array();
    for (const ExportedCell &cell : row) {
        const auto *masked = std::get_if<Masked>(&cell);
        cells.push_back(masked != nullptr ? Json{{"masked", masked->text}}
                                          : std::visit(ToJson(), std::get<Cell>(cell)));
    }
    return (first ? "\n" : ",\n") + dumped(cells);
}

std::string table_end() {
    return "]}";
}

std::string export_end() {
    return "]}\n";
}

} // namespace tqctl
