# A downloader that crashes and is started again: nothing is lost, nothing is fetched twice, a failed task is passed
# over. A task that is removed under way takes its transfer along, and not the downloader.
example downloader --crash http://example.org/film.iso ftp://example.org/b.missing
example downloader
"$tqctl" list --kind http
example downloader
"${tqctl%/*}/downloader" http://example.org/removed http://example.org/next >log &
until_it_says '%' log
kill -STOP $!
python3 - "$database" <<'PROGRAM'
import os, signal, sqlite3, sys
with sqlite3.connect(sys.argv[1]) as store:
    process = store.execute("SELECT task_pid FROM HTTP_FTP_TASK WHERE task_id = 3").fetchone()[0]
    assert process > 0
    os.kill(process, signal.SIGKILL)
    store.execute("DELETE FROM HTTP_FTP_TASK WHERE task_id = 3")
PROGRAM
kill -CONT $!
wait $!
grep -v '%' log
rm -r /mnt/HDA_ROOT
example downloader
mkdir /mnt/HDA_ROOT
