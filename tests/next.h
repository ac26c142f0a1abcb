// For a function of this program that stands in front of the system's: the one behind it.
#ifndef KORVO_TESTS_NEXT_H
#define KORVO_TESTS_NEXT_H

#include <dlfcn.h>

namespace test {

template <class Function> Function *next(Function * /*own*/, const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace test

#endif
