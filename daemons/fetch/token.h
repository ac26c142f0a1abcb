// The process that stands for one transfer. It does nothing; its number is entered with the task, and who removes the
// task kills it, which ends the transfer and no other. It ends together with this process, however that ends.
#ifndef KORVO_FETCH_TOKEN_H
#define KORVO_FETCH_TOKEN_H

#include "folder.h"

#include <sys/types.h>

namespace fetch {

class Token {
public:
    // Not valid when the system has no process to give.
    Token();
    Token(const Token &) = delete;
    Token &operator=(const Token &) = delete;
    ~Token();

    bool valid() const { return pid_ > 0; }
    pid_t pid() const { return pid_; }
    // Can be read from once the process is dead.
    int descriptor() const { return ours_.get(); }
    bool is_alive() const;

private:
    Descriptor ours_;
    pid_t pid_ = -1;
};

} // namespace fetch

#endif
