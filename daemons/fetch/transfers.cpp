#include "transfers.h"

#include <csignal>
#include <new>
#include <sys/signalfd.h>
#include <unistd.h>
#include <utility>

namespace fetch {
namespace {

constexpr std::chrono::milliseconds report_every(500);

} // namespace

Transfers::Transfers(const Options &options, Exchange &exchange)
    : options_(options), exchange_(exchange), multi_(curl_multi_init()) {
    if (multi_ == nullptr) {
        throw std::bad_alloc();
    }
    exchange_.orders.ring_with([multi = multi_] { curl_multi_wakeup(multi); });
}

Transfers::~Transfers() {
    exchange_.orders.ring_with([] {});
    curl_multi_cleanup(multi_);
}

void Transfers::run(int signals) noexcept {
    while (!ending_) {
        obey();
        int still_running = 0;
        curl_multi_perform(multi_, &still_running);
        collect();
        report_amounts();
        wait(signals);
    }
    while (!running_.empty()) {
        end(running_.begin()->first, {});
    }
    exchange_.reports.post([](Reports &reports) { reports.ending = true; });
}

void Transfers::obey() {
    Orders orders = exchange_.orders.take();
    for (Job &job : orders.start) {
        start(std::move(job));
    }
    for (const auto &[task, name] : orders.names) {
        if (const auto found = running_.find(task); found != running_.end()) {
            found->second->go_on_as(name);
        }
    }
    for (const int32_t task : orders.stop) {
        if (running_.contains(task)) {
            end(task, {});
        }
    }
}

void Transfers::start(Job job) {
    const int32_t task = job.task;
    auto transfer = std::make_unique<Transfer>(std::move(job), options_);
    Transfer &started = *running_.insert_or_assign(task, std::move(transfer)).first->second;
    if (started.is_settled()) {
        end(task, started.verdict(CURLE_OK));
    } else {
        curl_multi_add_handle(multi_, started.handle());
    }
}

// What has ended by itself, and suggestions of names.
void Transfers::collect() {
    int more = 0;
    while (const CURLMsg *message = curl_multi_info_read(multi_, &more)) {
        if (message->msg == CURLMSG_DONE) {
            Transfer *transfer = nullptr;
            curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
            const CURLcode result = message->data.result;
            end(transfer->job().task, transfer->verdict(result));
        }
    }
    for (const auto &[task, transfer] : running_) {
        if (const std::string name = transfer->take_suggestion(); !name.empty()) {
            exchange_.reports.post([&, number = task](Reports &reports) { reports.suggestions[number] = name; });
        }
    }
}

// Twice as often as they are entered in the store, so that what is entered is fresh.
void Transfers::report_amounts() {
    if (running_.empty() || Clock::now() < next_report_) {
        return;
    }
    next_report_ = Clock::now() + report_every;
    exchange_.reports.leave([this](Reports &reports) {
        for (const auto &[task, transfer] : running_) {
            reports.amounts[task] = transfer->amount();
        }
    });
}

void Transfers::wait(int signals) {
    std::vector<curl_waitfd> also{{signals, CURL_WAIT_POLLIN, 0}};
    std::vector<int32_t> tasks;
    for (const auto &[task, transfer] : running_) {
        also.push_back({transfer->job().token, CURL_WAIT_POLLIN, 0});
        tasks.push_back(task);
    }
    constexpr int quiet_ms = 60'000;
    curl_multi_poll(multi_, also.data(), static_cast<unsigned>(also.size()),
                    running_.empty() ? quiet_ms : static_cast<int>(report_every.count()), nullptr);
    if (also[0].revents != 0) {
        take_signal(signals);
    }
    for (std::size_t i = 0; i < tasks.size(); ++i) {
        if (also[i + 1].revents != 0) {
            end(tasks[i], {Verdict::End::token_died});
        }
    }
}

void Transfers::take_signal(int signals) {
    signalfd_siginfo signal{};
    if (read(signals, &signal, sizeof signal) != sizeof signal) {
        return;
    }
    if (signal.ssi_signo == SIGHUP) {
        exchange_.reports.post([](Reports &reports) { reports.again = true; });
    } else {
        ending_ = true;
    }
}

void Transfers::end(int32_t task, const Verdict &verdict) {
    const auto found = running_.find(task);
    curl_multi_remove_handle(multi_, found->second->handle());
    exchange_.reports.post([&](Reports &reports) {
        reports.amounts[task] = found->second->amount();
        reports.verdicts[task] = verdict;
    });
    running_.erase(found);
}

} // namespace fetch
