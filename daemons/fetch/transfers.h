// The transfers that run, all on one thread: starts and stops them as the thread of the store orders, and reports.
#ifndef KORVO_FETCH_TRANSFERS_H
#define KORVO_FETCH_TRANSFERS_H

#include "exchange.h"
#include "options.h"
#include "transfer.h"

#include <curl/curl.h>
#include <map>
#include <memory>

namespace fetch {

class Transfers {
public:
    Transfers(const Options &options, Exchange &exchange);
    Transfers(const Transfers &) = delete;
    Transfers &operator=(const Transfers &) = delete;
    ~Transfers();

    // Works until a signal asks for the end; the descriptor is a signalfd. As with the store, memory that runs out ends
    // the process.
    void run(int signals) noexcept;

private:
    using Running = std::map<int32_t, std::unique_ptr<Transfer>>;

    void obey();
    void start(Job job);
    void collect();
    void report_amounts();
    void wait(int signals);
    void take_signal(int signals);
    void end(int32_t task, const Verdict &verdict);

    const Options &options_;
    Exchange &exchange_;
    CURLM *multi_;
    Running running_;
    Clock::time_point next_report_;
    bool ending_ = false;
};

} // namespace fetch

#endif
