#include "formats/torrent.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <sha1.h>

namespace tqctl {
namespace {

struct Malformed {
    const char *why;
};

// A value in bencoding, read as far as it is asked for: its text, and what is found inside.
class Value {
public:
    explicit Value(std::string_view text) : text_(text) {}

    std::string_view text() const { return text_; }

    std::string_view string() const {
        std::string_view rest = text_;
        return string_at(rest);
    }

    std::int64_t number() const {
        std::int64_t number = 0;
        const char *end = text_.data() + text_.size();
        if (text_.size() < 3 || text_.front() != 'i' || std::from_chars(text_.data() + 1, end, number).ptr != end - 1 ||
            number < 0) {
            throw Malformed{"a number in the torrent is malformed"};
        }
        return number;
    }

    // The value of a key of a dictionary.
    std::optional<Value> find(std::string_view key) const {
        std::optional<Value> found;
        walk('d', [&](std::string_view &rest) {
            const bool wanted = string_at(rest) == key;
            const Value value = value_at(rest, 0);
            if (wanted) {
                found = value;
            }
        });
        return found;
    }

    Value at(std::string_view key, const char *missing) const {
        const auto value = find(key);
        return value ? *value : throw Malformed{missing};
    }

    // The elements of a list.
    std::vector<Value> elements() const {
        std::vector<Value> all;
        walk('l', [&](std::string_view &rest) { all.push_back(value_at(rest, 0)); });
        return all;
    }

    // The value that a text begins with, and nothing behind it.
    static Value whole(std::string_view text) {
        const Value value = value_at(text, 0);
        return text.empty() ? value : throw Malformed{"there is something behind the torrent's end"};
    }

private:
    static std::string_view string_at(std::string_view &rest) {
        std::size_t length = 0;
        const char *end = rest.data() + rest.size();
        const auto [stop, error] = std::from_chars(rest.data(), end, length);
        const auto digits = static_cast<std::size_t>(stop - rest.data());
        if (error != std::errc() || stop == end || *stop != ':' || rest.size() - digits - 1 < length) {
            throw Malformed{"a string in the torrent is malformed"};
        }
        const std::string_view string = rest.substr(digits + 1, length);
        rest.remove_prefix(digits + 1 + length);
        return string;
    }

    static Value value_at(std::string_view &rest, int depth) {
        constexpr int deepest = 50;
        const std::string_view start = rest;
        if (rest.empty() || depth > deepest) {
            throw Malformed{rest.empty() ? "the torrent is truncated" : "the torrent is nested too deeply"};
        }
        const char kind = rest.front();
        if (kind == 'i') {
            const std::size_t end = rest.find('e');
            if (end == std::string_view::npos) {
                throw Malformed{"a number in the torrent is malformed"};
            }
            rest.remove_prefix(end + 1);
        } else if (kind == 'l' || kind == 'd') {
            rest.remove_prefix(1);
            while (!rest.empty() && rest.front() != 'e') {
                if (kind == 'd') {
                    string_at(rest);
                }
                value_at(rest, depth + 1);
            }
            if (rest.empty()) {
                throw Malformed{"the torrent is truncated"};
            }
            rest.remove_prefix(1);
        } else {
            string_at(rest);
        }
        return Value(start.substr(0, start.size() - rest.size()));
    }

    template <class Each> void walk(char kind, const Each &each) const {
        if (text_.empty() || text_.front() != kind) {
            throw Malformed{"this is no torrent"};
        }
        std::string_view rest = text_.substr(1);
        while (rest.front() != 'e') {
            each(rest);
        }
    }

    std::string_view text_;
};

std::string component(std::string_view text) {
    if (text.empty() || text == "." || text == ".." || text.find('/') != std::string_view::npos ||
        text.find('\0') != std::string_view::npos) {
        throw Malformed{"the torrent has a name that is no file name"};
    }
    return std::string(text);
}

std::string sha1_of(std::string_view bytes) {
    char digits[SHA1_DIGEST_STRING_LENGTH];
    SHA1Data(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size(), digits);
    return digits;
}

std::int64_t sum(std::int64_t a, std::int64_t b) {
    std::int64_t result = 0;
    return __builtin_add_overflow(a, b, &result) ? throw Malformed{"the torrent's sizes are too large"} : result;
}

Torrent torrent_of(std::string_view bytes) {
    const Value info = Value::whole(bytes).at("info", "the torrent has no info dictionary");
    Torrent torrent;
    torrent.hash = sha1_of(info.text());
    torrent.name = component(info.at("name", "the torrent has no name").string());
    torrent.piece_length = info.at("piece length", "the torrent has no piece length").number();
    torrent.pieces = static_cast<std::int64_t>(
        info.at("pieces", "the torrent has no pieces, as those of the first version have").string().size() /
        SHA1_DIGEST_LENGTH);
    if (const auto files = info.find("files")) {
        for (const Value &file : files->elements()) {
            std::string path = torrent.name;
            for (const Value &part : file.at("path", "a file of the torrent has no path").elements()) {
                path += "/" + component(part.string());
            }
            const std::int64_t size = file.at("length", "a file of the torrent has no length").number();
            torrent.files.push_back({path, size});
            torrent.size = sum(torrent.size, size);
        }
    } else {
        torrent.size = info.at("length", "the torrent has neither files nor a length").number();
        torrent.files.push_back({torrent.name, torrent.size});
    }
    return torrent;
}

} // namespace

TorrentReading read_torrent(std::string_view bytes) {
    try {
        return {torrent_of(bytes), nullptr};
    } catch (const Malformed &fault) {
        return {{}, fault.why};
    }
}

} // namespace tqctl
