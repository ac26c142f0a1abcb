// SQL statements: built from a literal template, checked against their arguments by the compiler.
//
//     statement<"UPDATE BT_TASK SET task_record = %d WHERE task_id = %ld;">(marker, task_id)
//
// Each directive of a template takes one type of argument and nothing else:
//
//     '%q'   const char *     a caller's string, single quotes doubled, always inside the quotes
//     %d     int32_t
//     %ld    int32_t          widened to long, so that the same digits result where long is 64 bits wide
//     %lld   int64_t
//     %f     float            widened to double
//     %s     Sql              a fragment: a literal, or one that statement<>() itself built
//     %%                      one percent sign
//
// Anything else does not compile. So a caller's string cannot reach SQL unquoted and no width can be wrong.
#ifndef KORVO_FRAME_STATEMENT_H
#define KORVO_FRAME_STATEMENT_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <sqlite3.h>
#include <type_traits>
#include <utility>

namespace korvo {

// A statement or a fragment of one, owned. It can be absent: memory ran out, a fragment in it was absent, or a string
// for it was NULL. An absent statement must never reach SQLite, where running it would count as success; the shapes
// ensure that.
class OwnedSql {
public:
    OwnedSql() = default;
    explicit OwnedSql(char *allocated) : text_(allocated) {}
    OwnedSql(OwnedSql &&other) noexcept : text_(std::exchange(other.text_, nullptr)) {}
    OwnedSql(const OwnedSql &) = delete;
    OwnedSql &operator=(const OwnedSql &) = delete;
    OwnedSql &operator=(OwnedSql &&) = delete;
    ~OwnedSql() { sqlite3_free(text_); }

    const char *get() const { return text_; }

private:
    char *text_ = nullptr;
};

// What a shape runs, or a fragment of it: an OwnedSql that the caller keeps until the shape returns, or a literal.
class Sql {
public:
    // NOLINTNEXTLINE(google-explicit-constructor,hicpp-explicit-conversions): shapes take either form.
    Sql(const OwnedSql &text) : text_(text.get()) {}
    // NOLINTNEXTLINE(google-explicit-constructor,hicpp-explicit-conversions)
    template <std::size_t N> consteval Sql(const char (&literal)[N]) : text_(literal) {}

    bool absent() const { return text_ == nullptr; }
    const char *get() const { return text_; }

private:
    const char *text_;
};

enum class Directive { quoted_string, int32, widened_int32, int64, single_float, fragment, malformed };

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
            return Directive::quoted_string;
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
template <> struct Argument<Directive::quoted_string> {
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
inline bool absent(const OwnedSql &text) {
    return text.get() == nullptr;
}

// How an argument is matched: a record's char array and a char pointer are both a string, an OwnedSql is a fragment.
template <class T>
using Matched = std::conditional_t<std::is_convertible_v<const T &, const char *>, const char *,
                                   std::conditional_t<std::is_same_v<T, OwnedSql>, Sql, T>>;

template <Template T, std::size_t... I, class... Args>
OwnedSql build(std::index_sequence<I...> /*positions*/, const Args &...args) {
    static_assert((std::is_same_v<typename Argument<T.directive(I)>::Type, Matched<Args>> && ...),
                  "an argument's type does not fit its directive");
    if ((absent(args) || ...)) {
        return {};
    }
    return OwnedSql(sqlite3_mprintf(T.text, Argument<T.directive(I)>::pass(args)...));
}

template <Template T, class... Args> OwnedSql statement(const Args &...args) {
    static_assert(T.directives() == sizeof...(Args), "as many arguments as directives");
    return build<T>(std::index_sequence_for<Args...>(), args...);
}

// A statement with one directive whose value a caller points to: an int32_t, an int64_t or a string, as the directive
// says. Delete and field operations choose their statement from a table of these, one per column position; nullptr is a
// column that the operation refuses.
using SqlOfValue = OwnedSql (*)(const void *value);

template <Template T> OwnedSql statement_of(const void *value) {
    static_assert(T.directives() == 1, "one value, one directive");
    using Value = typename Argument<T.directive(0)>::Type;
    if constexpr (std::is_same_v<Value, const char *>) {
        return statement<T>(static_cast<const char *>(value));
    } else {
        static_assert(std::is_integral_v<Value>, "callers point to integers and strings only");
        Value number;
        std::memcpy(&number, value, sizeof number);
        return statement<T>(number);
    }
}

} // namespace korvo

#endif
