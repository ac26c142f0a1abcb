// Rows shown: a table fitted to the terminal, TAB-separated lines for programs, records, or JSON. Rows are formatted as
// they come and held as text; nothing is printed before the last one is there.
#ifndef KORVO_TQCTL_DISPLAY_SHEET_H
#define KORVO_TQCTL_DISPLAY_SHEET_H

#include "base/output.h"
#include "store/table.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tqctl {

// A value of a row as text.
struct Field {
    std::string_view text;
    bool null = false;
};

// A column of the output.
struct Shown {
    std::string title;
    std::string heading;
    Kind kind;
    bool wraps = false; // on a terminal it is shown whole, on several lines
};

// Records have a line for each column; json_line is an array without a line end, json_records the inside of an array.
enum class Form { terminal, lines, json, json_line, records, json_records };

struct Style {
    Form form = Form::lines;
    bool header = true;
    bool color = false;
    bool human = false; // amounts and times for people
    bool passwords = false;
};

class Sheet {
public:
    Sheet(std::vector<Shown> columns, const Style &style);

    // `status` decides about the row's colour.
    void row(const std::vector<Field> &fields, std::string_view status = {});

    std::size_t rows() const { return rows_; }

    // Everything, once the last row is there.
    void finish(const std::function<void(std::string_view)> &out);
    void print();

private:
    std::string cell(const Field &field, const Shown &column) const;
    std::string json_row(const std::vector<Field> &fields) const;
    void lay_out(const std::function<void(std::string_view)> &out);

    std::vector<Shown> columns_;
    Style style_;
    std::vector<std::size_t> widths_;
    std::size_t title_width_ = 0;
    Spool spool_;
    std::size_t rows_ = 0;
};

// One record, its titles with the values, as lines or as a JSON object.
struct Titled {
    std::string title;
    std::string text;
    Kind kind = Kind::text;
};
void print_record(const std::vector<Titled> &values, bool json);

// A value as JSON, in ASCII, so that no control character reaches a terminal; bytes that are no text become U+FFFD.
std::string json_value(const Field &field, Kind kind);

// Without the secrets that a column of this kind may hold.
std::string without_secrets(std::string_view text, Kind kind);

} // namespace tqctl

#endif
