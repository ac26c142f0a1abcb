// Sets of signals, to be blocked while something must not be cut short.
#ifndef KORVO_TQCTL_BASE_SIGNALS_H
#define KORVO_TQCTL_BASE_SIGNALS_H

#include <csignal>
#include <initializer_list>

namespace tqctl {

inline sigset_t signal_set(std::initializer_list<int> signals) {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals) {
        sigaddset(&set, signal);
    }
    return set;
}

} // namespace tqctl

#endif
