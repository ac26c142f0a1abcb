#include "display/sheet.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <numeric>
#include <optional>

namespace tqctl {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char *bold = "\033[1m";
constexpr const char *red = "\033[31m";
constexpr const char *green = "\033[32m";
constexpr const char *yellow = "\033[33m";
constexpr const char *plain = "\033[0m";
constexpr std::size_t narrowest_text = 12;

const char *color_of(std::string_view status) {
    const auto starts = [=](std::string_view word) { return status.starts_with(word); };
    return starts("error") || starts("failed") || starts("fault") ? red
           : starts("paused") || starts("note")                   ? yellow
           : starts("downloading") || starts("seeding")           ? green
                                                                  : "";
}

// "[######----]  62%"
std::string bar(std::int64_t percent) {
    constexpr std::int64_t width = 10;
    const std::int64_t shown = std::clamp<std::int64_t>(percent, 0, 100);
    const auto filled = static_cast<std::size_t>(shown * width / 100);
    return "[" + std::string(filled, '#') + std::string(width - filled, '-') + "]" +
           fitted(std::to_string(shown), 4, true) + "%";
}

std::string for_people(std::int64_t number, Kind kind, bool terminal) {
    switch (kind) {
    case Kind::bytes:
        return human_bytes(number);
    case Kind::kib:
        return human_bytes(std::clamp<std::int64_t>(number, INT32_MIN, INT32_MAX) * 1024);
    case Kind::mib:
        return human_bytes(std::clamp<std::int64_t>(number, INT32_MIN, INT32_MAX) * 1024 * 1024);
    case Kind::rate:
        return human_bytes(number) + "/s";
    case Kind::percent:
        return terminal ? bar(number) : std::to_string(number) + "%";
    case Kind::flag:
        return number == 1 ? "yes" : number == 0 ? "" : std::to_string(number);
    case Kind::seconds:
        return number == 0 ? ""
               : number > INT32_MAX || number < INT32_MIN
                   ? std::to_string(number)
                   : bt_task_fmttime(static_cast<std::int32_t>(number), "%F %H:%M");
    default:
        return std::to_string(number);
    }
}

std::string json_text(std::string_view text) {
    return Json(text).dump(-1, ' ', true, Json::error_handler_t::replace);
}

// What stands around rows.
struct Marks {
    const char *first = ""; // before it
    const char *next = "";
    const char *end = "";
    const char *none = ""; // instead of any
};

Marks marks_of(Form form) {
    return form == Form::json           ? Marks{"[\n  ", ",\n  ", "\n]\n", "[]\n"}
           : form == Form::json_line    ? Marks{"[", ",", "]", "[]"}
           : form == Form::json_records ? Marks{"", ",\n"}
           : form == Form::records      ? Marks{"", "\n"}
                                        : Marks{};
}

// Where to end the first line of a text that is wider.
std::size_t line_end(std::string_view text, std::size_t width) {
    const std::size_t most = std::max<std::size_t>(1, fitted(text, width).find_last_not_of(' ') + 1);
    if (most >= text.size()) {
        return text.size();
    }
    const std::size_t space = text.rfind(' ', most);
    return space == std::string_view::npos || space == 0 ? most : space;
}

} // namespace

std::string without_secrets(std::string_view text, Kind kind) {
    return kind == Kind::address                     ? without_passwords(text)
           : kind == Kind::password && !text.empty() ? "********"
                                                     : std::string(text);
}

std::string json_value(const Field &field, Kind kind) {
    if (field.null) {
        return "null";
    }
    if (!is_text(kind)) {
        if (const auto whole = number_in<std::int64_t>(field.text)) {
            return std::to_string(*whole);
        }
        if (const auto decimal = number_in<double>(field.text); decimal && std::isfinite(*decimal)) {
            return Json(*decimal).dump();
        }
    }
    return json_text(field.text);
}

Sheet::Sheet(std::vector<Shown> columns, const Style &style) : columns_(std::move(columns)), style_(style) {
    std::string line;
    for (Shown &column : columns_) {
        if (column.heading.empty()) {
            column.heading = column.title;
            std::ranges::transform(column.heading, column.heading.begin(), [](char c) {
                return c == '_' ? ' ' : c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
            });
        }
        column.title = shown(column.title); // may be another program's column
        column.heading = shown(column.heading);
        widths_.push_back(style_.header ? width_of(column.heading) : 0);
        title_width_ = std::max(title_width_, width_of(column.title) + 2);
        line += (line.empty() ? "" : "\t") + column.title;
    }
    if (style_.form == Form::lines && style_.header) {
        spool_.add(line + "\n");
    }
}

std::string Sheet::cell(const Field &field, const Shown &column) const {
    if (style_.human && !is_text(column.kind)) {
        if (const auto number = number_in<std::int64_t>(field.text)) {
            return for_people(*number, column.kind, style_.form == Form::terminal);
        }
    }
    return shown(style_.passwords ? std::string(field.text) : without_secrets(field.text, column.kind));
}

std::string Sheet::json_row(const std::vector<Field> &fields) const {
    const bool record = style_.form == Form::json_records;
    std::string out = "{";
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        const std::string visible =
            style_.passwords ? std::string(fields[i].text) : without_secrets(fields[i].text, columns_[i].kind);
        out += concat(i == 0 ? "" : ",", record ? "\n  " : "", json_text(columns_[i].title), record ? ": " : ":",
                      json_value({visible, fields[i].null}, columns_[i].kind));
    }
    return out + (record ? "\n}" : "}");
}

void Sheet::row(const std::vector<Field> &fields, std::string_view status) {
    const std::string color = style_.color ? color_of(status) : "";
    std::string out = rows_ == 0 ? marks_of(style_.form).first : marks_of(style_.form).next;
    ++rows_;
    if (style_.form == Form::json || style_.form == Form::json_line || style_.form == Form::json_records) {
        return spool_.add(out + json_row(fields));
    }
    out += style_.form == Form::terminal ? color + "\t" : color;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        const std::string text = cell(fields[i], columns_[i]);
        if (style_.form == Form::records) {
            out += (output_is_terminal() ? fitted(columns_[i].title, title_width_) : columns_[i].title + "\t") + text +
                   "\n";
            continue;
        }
        widths_[i] = std::max(widths_[i], width_of(text));
        out += (i == 0 ? "" : "\t") + text;
    }
    if (style_.form != Form::records) {
        out += style_.form == Form::lines && !color.empty() ? std::string(plain) + "\n" : "\n";
    }
    spool_.add(out);
}

// Texts are narrowed to what can still be read, then columns go, from the last but one. The room that is left is the
// texts' again, in the end the last one's. A number or an identifier is never cut: it would be another.
void Sheet::lay_out(const std::function<void(std::string_view)> &out) {
    const std::size_t room = window().columns;
    std::vector<std::size_t> kept(columns_.size());
    std::iota(kept.begin(), kept.end(), 0);
    const auto total = [&] {
        std::size_t sum = kept.size() - 1;
        for (const std::size_t i : kept) {
            sum += widths_[i];
        }
        return sum;
    };
    const std::vector<std::size_t> natural = widths_;
    const auto narrow = [&](std::size_t least) {
        for (const std::size_t i : kept) {
            const bool may_be_cut = is_text(columns_[i].kind) && columns_[i].kind != Kind::task;
            widths_[i] = may_be_cut ? std::min(natural[i], least) : natural[i];
        }
    };
    narrow(narrowest_text);
    while (total() > room && kept.size() > 2) {
        kept.erase(kept.end() - 2);
    }
    if (total() > room) {
        narrow(1);
    }
    for (const std::size_t i : kept) {
        widths_[i] = std::min(natural[i], widths_[i] + room - std::min(room, total()));
    }

    const auto line = [&](const std::vector<std::string_view> &cells, std::string_view color) {
        std::string_view rest = cells[kept.back()];
        std::string text(color);
        for (const std::size_t i : kept) {
            const bool last = i == kept.back();
            if (!last) {
                text += fitted(cells[i], widths_[i], !is_text(columns_[i].kind)) + " ";
                continue;
            }
            const std::size_t end =
                columns_[i].wraps && width_of(rest) > widths_[i] ? line_end(rest, widths_[i]) : rest.size();
            std::string cell = fitted(rest.substr(0, end), widths_[i], !is_text(columns_[i].kind));
            text += is_text(columns_[i].kind) ? cell.substr(0, cell.find_last_not_of(' ') + 1) : cell;
            rest.remove_prefix(std::min(rest.size(), rest.find_first_not_of(' ', end)));
        }
        out(text + (color.empty() ? "" : plain) + "\n");
        const std::string indent(total() - widths_[kept.back()], ' ');
        while (columns_[kept.back()].wraps && !rest.empty()) {
            const std::size_t end = line_end(rest, widths_[kept.back()]);
            out(concat(color, indent, rest.substr(0, end), color.empty() ? "" : plain, "\n"));
            rest.remove_prefix(std::min(rest.size(), rest.find_first_not_of(' ', end)));
        }
    };

    if (style_.header) {
        std::vector<std::string_view> headings;
        for (const Shown &column : columns_) {
            headings.push_back(column.heading);
        }
        line(headings, style_.color ? bold : "");
    }
    std::string held;
    spool_.rewind();
    for (std::string_view part = spool_.next(); !part.empty(); part = spool_.next()) {
        held += part;
        std::size_t done = 0;
        for (std::size_t end = held.find('\n'); end != std::string::npos; end = held.find('\n', done)) {
            std::vector<std::string_view> cells = split(std::string_view(held).substr(done, end - done), '\t');
            const std::string_view color = cells.front();
            cells.erase(cells.begin());
            line(cells, color);
            done = end + 1;
        }
        held.erase(0, done);
    }
}

void Sheet::finish(const std::function<void(std::string_view)> &out) {
    if (style_.form == Form::terminal) {
        return rows_ == 0 ? out("(none)\n") : lay_out(out);
    }
    spool_.add(rows_ == 0 ? marks_of(style_.form).none : marks_of(style_.form).end);
    spool_.rewind();
    for (std::string_view part = spool_.next(); !part.empty(); part = spool_.next()) {
        out(part);
    }
}

void Sheet::print() {
    std::string buffer;
    finish([&](std::string_view part) {
        buffer += part;
        if (buffer.size() > 1U << 16U) {
            tqctl::print(buffer);
            buffer.clear();
        }
    });
    tqctl::print(buffer);
}

void print_record(const std::vector<Titled> &values, bool json) {
    std::vector<Shown> columns;
    std::vector<Field> fields;
    for (const Titled &value : values) {
        columns.push_back({value.title, {}, value.kind});
        fields.push_back({value.text});
    }
    Sheet sheet(std::move(columns), {json ? Form::json_records : Form::records});
    sheet.row(fields);
    sheet.print();
    tqctl::print(json ? "\n" : "");
}

} // namespace tqctl
