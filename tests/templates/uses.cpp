// Uses of the statement templates, one at a time: use 0 is right, the others must not compile, each for the reason that
// its comment quotes. The check that goes through them is templates/compile_uses.

#include "frame/statement.h"

using korvo::OwnedSql;
using korvo::Sql;
using korvo::statement;
using korvo::statement_of;

void use([[maybe_unused]] const char *text, [[maybe_unused]] int32_t number, [[maybe_unused]] int64_t wide,
         [[maybe_unused]] float fraction, [[maybe_unused]] const void *value) {
    [[maybe_unused]] const OwnedSql fragment = statement<"WHERE a LIKE '%%'">();
    [[maybe_unused]] char field[9] = "";
#if USE == 0
    statement<"'%q' '%q' %d %ld %lld %f %s">(text, field, number, number, wide, fraction, fragment);
    statement_of<"a = '%q'">(value);
    statement_of<"a = %lld">(value);
    (void)Sql("DELETE FROM A;").get();
    (void)Sql(fragment).get();
#elif USE == 1  // an argument's type does not fit its directive
    statement<"%s">(text);
#elif USE == 2  // an argument's type does not fit its directive
    statement<"%d">(wide);
#elif USE == 3  // an argument's type does not fit its directive
    statement<"%ld">(wide);
#elif USE == 4  // an argument's type does not fit its directive
    statement<"%lld">(number);
#elif USE == 5  // an argument's type does not fit its directive
    statement<"%f">(number);
#elif USE == 6  // an argument's type does not fit its directive
    statement<"%d">(fraction);
#elif USE == 7  // an argument's type does not fit its directive
    statement<"'%q'">(number);
#elif USE == 8  // an argument's type does not fit its directive
    statement<"'%q'">(fragment);
#elif USE == 9  // as many arguments as directives
    statement<"%d %d">(number);
#elif USE == 10 // as many arguments as directives
    statement<"%%">(number);
#elif USE == 11 // (incomplete type|undefined template) .*malformed
    statement<"a = %q">(text);
#elif USE == 12 // (incomplete type|undefined template) .*malformed
    statement<"a = '%q">(text);
#elif USE == 13 // (incomplete type|undefined template) .*malformed
    statement<"a = '%s%q'">(fragment, text);
#elif USE == 14 // (incomplete type|undefined template) .*malformed
    statement<"%x">(number);
#elif USE == 15 // (incomplete type|undefined template) .*malformed
    statement<"%">(number);
#elif USE == 16 // one value, one directive
    statement_of<"a = 1">(value);
#elif USE == 17 // callers point to integers and strings only
    statement_of<"%s">(value);
#elif USE == 18 // callers point to integers and strings only
    statement_of<"%f">(value);
#elif USE == 19 // no matching (function|conversion)
    (void)Sql(text).get();
#elif USE == 20 // not a constant expression
    (void)Sql(field).get();
#else
#error no such use
#endif
}
