// Statement texts: built from a literal template, checked against their arguments by the compiler.
//
//     statement<"UPDATE BT_TASK SET task_record = %d WHERE task_id = %ld;">(marker, task_id)
//
// Each directive of a template takes one type of argument and nothing else:
//
//     '%q'   const char *     a caller's text, single quotes doubled, always inside the quotes
//     %d     int32_t
//     %ld    int32_t          widened to long, so that the same digits result where long is 64 bits wide
//     %lld   int64_t
//     %f     float            widened to double
//     %s     Sql              a fragment: a literal, or one that statement<>() itself built
//     %%                      one percent sign
//
// Anything else does not compile. So a caller's text cannot reach SQL unquoted and no width can be wrong.
#ifndef KORVO_FRAME_STATEMENT_H
#define KORVO_FRAME_STATEMENT_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <sqlite3.h>
#include <type_traits>
#include <utility>

namespace korvo {

// A statement text or a fragment of one, owned. It can be absent: memory ran out, a fragment in it was absent, or a
// text for it was NULL. An absent text must never reach SQLite, where running it would count as success; the shapes
// see to that.
class Text {
public:
    Text() = default;
    explicit Text(char *allocated) : text_(allocated) {}
    Text(Text &&other) noexcept : text_(std::exchange(other.text_, nullptr)) {}
    Text(const Text &) = delete;
    Text &operator=(const Text &) = delete;
    Text &operator=(Text &&) = delete;
    ~Text() { sqlite3_free(text_); }

    const char *get() const { return text_; }

private:
    char *text_ = nullptr;
};

// What a shape runs, or a fragment of it: a text that stays with the caller until the shape returns, or a literal.
class Sql {
public:
    // NOLINTNEXTLINE(google-explicit-constructor,hicpp-explicit-conversions): shapes take either form.
    Sql(const Text &text) : text_(text.get()) {}
    // NOLINTNEXTLINE(google-explicit-constructor,hicpp-explicit-conversions)
    template <std::size_t N> consteval Sql(const char (&literal)[N]) : text_(literal) {}

    bool absent() const { return text_ == nullptr; }
    const char *get() const { return text_; }

private:
    const char *text_;
};

enum class Directive { quoted_text, int32, widened_int32, int64, single_float, fragment, malformed };

template <std::size_t N> struct Template {
    char text[N];

    // NOLINTNEXTLINE(google-explicit-constructor,hicpp-explicit-conversions): a literal is a template.
    consteval Template(const char (&literal)[N]) {
        for (std::size_t i = 0; i < N; ++i) {
            text[i] = literal[i];
        }
    }

    constexpr std::size_t directives() const {
        std::size_t count = 0;
        for (std::size_t at = 0; at < N - 1; at = next(at)) {
            count += starts_directive(at) ? 1 : 0;
        }
        return count;
    }

    constexpr Directive directive(std::size_t index) const {
        for (std::size_t at = 0; at < N - 1; at = next(at)) {
            if (starts_directive(at) && index-- == 0) {
                return kind(at);
            }
        }
        return Directive::malformed;
    }

private:
    constexpr bool stands_at(std::size_t at, const char *word) const {
        for (; *word != '\0'; ++word, ++at) {
            if (at >= N || text[at] != *word) {
                return false;
            }
        }
        return true;
    }
    constexpr bool starts_directive(std::size_t at) const { return text[at] == '%' && !stands_at(at, "%%"); }
    constexpr std::size_t next(std::size_t at) const { return at + (stands_at(at, "%%") ? 2 : 1); }
    constexpr Directive kind(std::size_t at) const {
        if (at > 0 && stands_at(at - 1, "'%q'")) {
            return Directive::quoted_text;
        }
        if (stands_at(at, "%lld")) {
            return Directive::int64;
        }
        if (stands_at(at, "%ld")) {
            return Directive::widened_int32;
        }
        if (stands_at(at, "%d")) {
            return Directive::int32;
        }
        if (stands_at(at, "%f")) {
            return Directive::single_float;
        }
        if (stands_at(at, "%s")) {
            return Directive::fragment;
        }
        return Directive::malformed;
    }
};

// The C type that goes through sqlite3_mprintf's "..." for a directive, and the argument type it is made from.
template <Directive> struct Argument;
template <> struct Argument<Directive::quoted_text> {
    using Type = const char *;
    static const char *pass(const char *text) { return text; }
};
template <> struct Argument<Directive::int32> {
    using Type = int32_t;
    static int pass(int32_t value) { return value; }
};
template <> struct Argument<Directive::widened_int32> {
    using Type = int32_t;
    static long pass(int32_t value) { return value; }
};
template <> struct Argument<Directive::int64> {
    using Type = int64_t;
    static long long pass(int64_t value) { return value; }
};
template <> struct Argument<Directive::single_float> {
    using Type = float;
    static double pass(float value) { return static_cast<double>(value); }
};
template <> struct Argument<Directive::fragment> {
    using Type = Sql;
    static const char *pass(Sql fragment) { return fragment.get(); }
};

template <class T> bool absent(const T & /*number*/) {
    return false;
}
inline bool absent(const char *text) {
    return text == nullptr;
}
inline bool absent(Sql fragment) {
    return fragment.absent();
}
inline bool absent(const Text &text) {
    return text.get() == nullptr;
}

// How an argument is matched: a text field of a record and a text pointer are both a text, a built fragment is SQL.
template <class T>
using Matched = std::conditional_t<std::is_convertible_v<const T &, const char *>, const char *,
                                   std::conditional_t<std::is_same_v<T, Text>, Sql, T>>;

template <Template T, std::size_t... I, class... Args>
Text build(std::index_sequence<I...> /*positions*/, const Args &...args) {
    static_assert((std::is_same_v<typename Argument<T.directive(I)>::Type, Matched<Args>> && ...),
                  "an argument's type does not fit its directive");
    if ((absent(args) || ...)) {
        return {};
    }
    return Text(sqlite3_mprintf(T.text, Argument<T.directive(I)>::pass(args)...));
}

template <Template T, class... Args> Text statement(const Args &...args) {
    static_assert(T.directives() == sizeof...(Args), "as many arguments as directives");
    return build<T>(std::index_sequence_for<Args...>(), args...);
}

// A text with one directive whose value a caller points to: an int32_t, an int64_t or the text itself, as the directive
// has it. Tables of these, one a column position, are how delete and field operations choose their statement; an empty
// place is a column that the operation refuses.
using TextOfValue = Text (*)(const void *value);

template <Template T> Text statement_of(const void *value) {
    static_assert(T.directives() == 1, "one value, one directive");
    using Value = typename Argument<T.directive(0)>::Type;
    if constexpr (std::is_same_v<Value, const char *>) {
        return statement<T>(static_cast<const char *>(value));
    } else {
        static_assert(std::is_integral_v<Value>, "callers point to integers and texts only");
        Value number;
        std::memcpy(&number, value, sizeof number);
        return statement<T>(number);
    }
}

} // namespace korvo

#endif
