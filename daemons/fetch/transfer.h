// One transfer: what is asked of the server, whether the answer is part of the same file, and the partial file.
#ifndef KORVO_FETCH_TRANSFER_H
#define KORVO_FETCH_TRANSFER_H

#include "exchange.h"
#include "folder.h"
#include "options.h"
#include "source.h"

#include <curl/curl.h>
#include <memory>
#include <string>

namespace fetch {

class Transfer {
public:
    Transfer(Job job, const Options &options);
    Transfer(const Transfer &) = delete;
    Transfer &operator=(const Transfer &) = delete;

    CURL *handle() const { return handle_.get(); }
    const Job &job() const { return job_; }
    Amount amount() const { return {offset_, source_.size, Clock::now()}; }

    // There is nothing to ask the server for.
    bool is_settled() const { return complete_ || failure_.error != 0; }
    // The name that the server suggests, once; the transfer is held until it is given a name.
    std::string take_suggestion() { return std::exchange(suggestion_, {}); }
    void go_on_as(const std::string &name);

    // After the transfer's end, with what the transfer library says about it.
    Verdict verdict(CURLcode result);

private:
    // What an answer carries.
    struct Answer {
        int64_t from = 0;
        int64_t size = -1;
        std::string etag;
        std::string modified;
    };

    void prepare_resume();
    void ask(const Options &options);
    static std::size_t receive(char *data, std::size_t one, std::size_t size, void *transfer);
    std::size_t write(const char *data, std::size_t size);
    bool begin();
    bool read_answer(Answer &answer);
    bool continues(const Answer &answer) const;
    bool open_file(const Answer &answer);
    std::string header(const char *name) const;
    int64_t number(CURLINFO info) const;
    bool is_http() const;
    bool fail(int32_t error, bool temporary, const char *reason);
    bool fail_with_errno(const char *reason);
    bool start_over(const char *reason);
    Verdict failure_of(CURLcode result);

    Job job_;
    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle_;
    std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers_;
    std::string range_;
    Descriptor folder_;
    Descriptor file_;
    Source source_;
    int64_t resume_at_ = 0;
    int64_t offset_ = 0;
    std::string suggestion_;
    bool begun_ = false;
    bool held_ = false;
    bool complete_ = false;
    Verdict failure_;
    char error_text_[CURL_ERROR_SIZE] = "";
};

} // namespace fetch

#endif
