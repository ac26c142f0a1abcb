// Journals that a stranger may have put beside a database. SQLite believes them: it waits for ever at a FIFO, and after
// a rollback it deletes the file that a journal names as its super-journal, whichever that is. Programs of this store
// write one database at a time, and so no super-journal.
#ifndef KORVO_TQCTL_STORE_JOURNAL_H
#define KORVO_TQCTL_STORE_JOURNAL_H

#include <string>

namespace tqctl {

// From now on SQLite opens no journal that is not a regular file and no super-journal, in the library's calls either.
void distrust_journals();

// Why the journal beside a database is not one of a program of this store; empty when there is nothing to say.
std::string fault_of_journal(const std::string &database);

} // namespace tqctl

#endif
