#include "transfer.h"

#include "korvo_bt_conventions.h"
#include "names.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <strings.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

namespace fetch {
namespace {

constexpr const char *protocols = "http,https,ftp,ftps";
constexpr long redirects = 10;
constexpr long buffer_size = 262144;

constexpr long http_ok = 200;
constexpr long http_partial = 206;
constexpr long http_out_of_range = 416;

// The network or the server may do better next time.
bool is_temporary(CURLcode code) {
    switch (code) {
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
    case CURLE_FTP_ACCEPT_FAILED:
    case CURLE_FTP_ACCEPT_TIMEOUT:
    case CURLE_FTP_CANT_GET_HOST:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
    case CURLE_PARTIAL_FILE:
    case CURLE_OUT_OF_MEMORY:
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
        return true;
    default:
        return false;
    }
}

bool is_temporary_status(int64_t status) {
    return status == 408 || status == 425 || status == 429 || (status >= 500 && status != 501 && status != 505);
}

// A text that is compared with another and kept in a line: no line end, and a bounded length.
std::string line_of(std::string text) {
    constexpr std::size_t longest = 1024;
    if (text.size() > longest || std::ranges::any_of(text, [](unsigned char c) { return c < ' '; })) {
        return {};
    }
    return text;
}

// "bytes 100-199/200", where the size may be "*".
bool read_content_range(const std::string &text, int64_t &from, int64_t &to, int64_t &size) {
    const char *const end = text.data() + text.size();
    constexpr std::size_t unit = 6;
    if (strncasecmp(text.c_str(), "bytes ", unit) != 0) {
        return false;
    }
    const auto [dash, no_from] = std::from_chars(text.data() + unit, end, from);
    if (no_from != std::errc() || dash == end || *dash != '-') {
        return false;
    }
    const auto [slash, no_to] = std::from_chars(dash + 1, end, to);
    if (no_to != std::errc() || slash == end || *slash != '/') {
        return false;
    }
    if (std::from_chars(slash + 1, end, size).ec != std::errc()) {
        size = -1;
    }
    return from >= 0 && to >= from && (size < 0 || to < size);
}

} // namespace

Transfer::Transfer(Job job, const Options &options)
    : job_(std::move(job)), handle_(curl_easy_init(), curl_easy_cleanup), headers_(nullptr, curl_slist_free_all),
      folder_(open_folder(job_.folder)) {
    if (!handle_) {
        throw std::bad_alloc();
    }
    source_.task = job_.task;
    if (!folder_.valid()) {
        fail_with_errno("the download folder cannot be entered");
        return;
    }
    prepare_resume();
    ask(options);
}

// ---- What is asked for

// Goes on with a partial file only when it can be told whether the server's file is still the same.
void Transfer::prepare_resume() {
    const Source known = load_source(folder_, job_.name);
    const std::string address = without_login(job_.address);
    source_.address = address;
    if (known.task != job_.task || known.address != address || (known.etag.empty() && known.modified.empty())) {
        return;
    }
    const Descriptor partial = open_own_file(folder_, partial_name(job_.name), Missing::leave);
    struct stat status {};
    if (!partial.valid() || fstat(partial.get(), &status) != 0 || status.st_size == 0 ||
        (known.size >= 0 && status.st_size > known.size)) {
        return;
    }
    source_ = known;
    resume_at_ = offset_ = status.st_size;
    complete_ = resume_at_ == known.size;
}

void Transfer::ask(const Options &options) {
    CURL *curl = handle_.get();
    const auto set = [curl](CURLoption option, auto value) { curl_easy_setopt(curl, option, value); };
    set(CURLOPT_URL, job_.address.c_str());
    set(CURLOPT_PROTOCOLS_STR, protocols);
    set(CURLOPT_REDIR_PROTOCOLS_STR, protocols);
    set(CURLOPT_FOLLOWLOCATION, 1L);
    set(CURLOPT_MAXREDIRS, redirects);
    set(CURLOPT_FAILONERROR, 1L);
    set(CURLOPT_FILETIME, 1L);
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_BUFFERSIZE, buffer_size);
    set(CURLOPT_USERAGENT, "tqfetchd/" KORVO_VERSION);
    set(CURLOPT_ERRORBUFFER, error_text_);
    set(CURLOPT_WRITEFUNCTION, &Transfer::receive);
    set(CURLOPT_WRITEDATA, this);
    set(CURLOPT_PRIVATE, this);

    const long timeout = options.timeout_s;
    set(CURLOPT_CONNECTTIMEOUT, timeout);
    set(CURLOPT_SERVER_RESPONSE_TIMEOUT, timeout);
    set(CURLOPT_LOW_SPEED_LIMIT, 1L);
    set(CURLOPT_LOW_SPEED_TIME, timeout);

    // The transfer library keeps them from other hosts that it is redirected to.
    if (!job_.user.empty()) {
        set(CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
        set(CURLOPT_USERNAME, job_.user.c_str());
        set(CURLOPT_PASSWORD, job_.password.c_str());
    }
    if (resume_at_ > 0) {
        range_ = std::to_string(resume_at_) + "-";
        set(CURLOPT_RANGE, range_.c_str());
        const bool strong = !source_.etag.empty() && !source_.etag.starts_with("W/");
        const std::string &same = strong ? source_.etag : source_.modified;
        if (!same.empty()) {
            headers_.reset(curl_slist_append(nullptr, ("If-Range: " + same).c_str()));
            set(CURLOPT_HTTPHEADER, headers_.get());
        }
    }
}

// ---- The answer

std::string Transfer::header(const char *name) const {
    curl_header *found = nullptr;
    return curl_easy_header(handle_.get(), name, 0, CURLH_HEADER, -1, &found) == CURLHE_OK ? line_of(found->value)
                                                                                           : std::string();
}

int64_t Transfer::number(CURLINFO info) const {
    curl_off_t value = -1;
    curl_easy_getinfo(handle_.get(), info, &value);
    return value;
}

bool Transfer::is_http() const {
    const char *scheme = nullptr;
    curl_easy_getinfo(handle_.get(), CURLINFO_SCHEME, &scheme);
    return scheme != nullptr && strncasecmp(scheme, "http", 4) == 0;
}

bool Transfer::read_answer(Answer &answer) {
    const int64_t length = number(CURLINFO_CONTENT_LENGTH_DOWNLOAD_T);
    if (!is_http()) {
        answer.from = resume_at_;
        answer.size = length < 0 ? -1 : resume_at_ + length;
        const int64_t modified = number(CURLINFO_FILETIME_T);
        answer.modified = modified < 0 ? "" : std::to_string(modified);
        return true;
    }
    long status = 0;
    curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
    answer.etag = header("ETag");
    answer.modified = header("Last-Modified");
    if (status == http_ok) {
        answer.size = length;
        return true;
    }
    int64_t to = 0;
    if (status != http_partial || resume_at_ == 0) {
        return fail(TQ_ERROR_TRANSFER + CURLE_WEIRD_SERVER_REPLY, false, "an answer that was not asked for");
    }
    if (!read_content_range(header("Content-Range"), answer.from, to, answer.size) || answer.from != resume_at_ ||
        (answer.size >= 0 && to != answer.size - 1)) {
        return start_over("another range than was asked for");
    }
    return true;
}

// Whether the answer goes on with what is there.
bool Transfer::continues(const Answer &answer) const {
    const auto same = [](const std::string &now, const std::string &before) {
        return now.empty() || before.empty() || now == before;
    };
    const bool known = (answer.etag == source_.etag && !answer.etag.empty()) ||
                       (answer.modified == source_.modified && !answer.modified.empty());
    return known && same(answer.etag, source_.etag) && same(answer.modified, source_.modified) &&
           (answer.size < 0 || source_.size < 0 || answer.size == source_.size);
}

// Before the first byte: looks at the answer and opens the file.
bool Transfer::begin() {
    Answer answer;
    if (!read_answer(answer)) {
        return false;
    }
    if (answer.from > 0 && !continues(answer)) {
        return start_over("the file at the source has changed");
    }
    if (answer.from == 0 && job_.name_is_ours && !held_) {
        suggestion_ = name_of_disposition(header("Content-Disposition"));
        if (!suggestion_.empty() && suggestion_ != job_.name) {
            held_ = true;
            return true;
        }
        suggestion_.clear();
    }
    held_ = false;
    return open_file(answer);
}

bool Transfer::open_file(const Answer &answer) {
    struct statvfs space {};
    const int64_t more = answer.size - answer.from;
    if (answer.size >= 0 && fstatvfs(folder_.get(), &space) == 0 &&
        static_cast<uint64_t>(more) / space.f_frsize > space.f_bavail) {
        errno = ENOSPC;
        return fail_with_errno("the file does not fit");
    }
    offset_ = answer.from;
    source_.size = answer.size >= 0 || answer.from == 0 ? answer.size : source_.size;
    if (answer.from == 0) {
        source_.etag = answer.etag;
        source_.modified = answer.modified;
        // First the information, by which a partial file is known to be ours.
        if (!save_source(folder_, job_.name, source_)) {
            return fail_with_errno("the partial file's information cannot be written");
        }
    }
    file_ = open_own_file(folder_, partial_name(job_.name), Missing::create);
    if (!file_.valid() || ftruncate(file_.get(), static_cast<off_t>(offset_)) != 0) {
        return fail_with_errno("the partial file cannot be opened");
    }
    begun_ = true;
    return true;
}

std::size_t Transfer::receive(char *data, std::size_t one, std::size_t size, void *transfer) {
    return static_cast<Transfer *>(transfer)->write(data, one * size);
}

// Anything but the size ends the transfer, or holds it.
std::size_t Transfer::write(const char *data, std::size_t size) {
    constexpr std::size_t ended = 0;
    if (!begun_ && !begin()) {
        return ended;
    }
    if (held_) {
        return CURL_WRITEFUNC_PAUSE;
    }
    if (source_.size >= 0 && static_cast<int64_t>(size) > source_.size - offset_) {
        start_over("more than was announced");
        return ended;
    }
    if (!write_all(file_.get(), data, size, offset_)) {
        fail_with_errno("the partial file cannot be written");
        return ended;
    }
    offset_ += static_cast<int64_t>(size);
    return size;
}

void Transfer::go_on_as(const std::string &name) {
    if (held_) {
        job_.name = name;
        curl_easy_pause(handle_.get(), CURLPAUSE_CONT);
    }
}

// ---- The end

bool Transfer::fail(int32_t error, bool temporary, const char *reason) {
    failure_ = {Verdict::End::failed, error, temporary, 0, reason};
    return false;
}

// The user can make room or a folder, so it is worth another try.
bool Transfer::fail_with_errno(const char *reason) {
    const bool full = errno == ENOSPC || errno == EDQUOT;
    return fail(full ? TQ_ERROR_DISK_FULL : TQ_ERROR_FILE, true, reason);
}

// What is there is no part of what the server has.
bool Transfer::start_over(const char *reason) {
    forget(folder_, job_.name, job_.task);
    offset_ = 0;
    return fail(TQ_ERROR_TRANSFER + CURLE_RANGE_ERROR, true, reason);
}

Verdict Transfer::failure_of(CURLcode result) {
    long status = 0;
    curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
    const char *reason = error_text_[0] != '\0' ? error_text_ : curl_easy_strerror(result);
    if (result == CURLE_HTTP_RETURNED_ERROR) {
        if (status == http_out_of_range && resume_at_ > 0) {
            start_over("the source is shorter than what is there");
            return failure_;
        }
        fail(static_cast<int32_t>(status), is_temporary_status(status), reason);
        failure_.wait_s = number(CURLINFO_RETRY_AFTER);
    } else if (result == CURLE_BAD_DOWNLOAD_RESUME || result == CURLE_FTP_COULDNT_USE_REST) {
        start_over("the source does not go on from there");
    } else if (result == CURLE_UNSUPPORTED_PROTOCOL || result == CURLE_URL_MALFORMAT) {
        fail(TQ_ERROR_UNSUPPORTED, false, reason);
    } else if (!is_temporary(result) && !is_http() && status >= 400 && status < 600) {
        fail(static_cast<int32_t>(status), status < 500, reason);
    } else {
        fail(TQ_ERROR_TRANSFER + static_cast<int32_t>(result), is_temporary(result), reason);
    }
    return failure_;
}

Verdict Transfer::verdict(CURLcode result) {
    if (failure_.error != 0) {
        return failure_;
    }
    if (complete_) {
        return {Verdict::End::complete};
    }
    if (result != CURLE_OK) {
        return failure_of(result);
    }
    // An empty file has no first byte.
    if (!begun_ && (!begin() || (held_ && !begin()))) {
        return failure_;
    }
    if (source_.size >= 0 && offset_ != source_.size) {
        return failure_of(CURLE_PARTIAL_FILE);
    }
    source_.size = offset_;
    if (!save_source(folder_, job_.name, source_)) {
        fail_with_errno("the partial file's information cannot be written");
        return failure_;
    }
    return {Verdict::End::complete};
}

} // namespace fetch
