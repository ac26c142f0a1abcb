# A task goes as a whole: what would go is shown first with name and size, is what goes, and what stays is said.
fresh
files() { find /share /mnt/HDA_ROOT -mindepth 1 ! -name 'tq.db*' ! -type d | sort; }
put() { for path; do mkdir -p "${path%/*}" && echo data >"$path"; done; }
# goes TASK ARGUMENT...: the paths of the dry run, and those that then disappear, must be the same.
goes() {
    find /share /mnt/HDA_ROOT -mindepth 1 | sort >before
    "$tqctl" remove "$@" --dry-run | grep -E '^(file|directory)' | cut -f 2 | tr -s / | sort >planned
    status "$tqctl" remove "$@" --yes
    find /share /mnt/HDA_ROOT -mindepth 1 | sort >after
    comm -23 before after >gone
    while read -r path; do grep -v "^$path/" gone >rest; mv rest gone; done <planned
    diff planned gone && echo "as planned: $(paste -sd ' ' planned)"
}
put '/share/Download/A film/disc 1/part' '/share/Download/A film.fastresume' /share/Download/other /mnt/HDA_ROOT/film.torrent
torrent 'A film' >/dev/null && torrent other >/dev/null
sql "UPDATE BT_TASK SET task_total_wanted = 1; UPDATE BT_TASK SET task_filename =
    '/mnt/HDA_ROOT/film.torrent' WHERE task_id = 1"
"$tqctl" add http://example.org/film >/dev/null
sql "INSERT INTO BT_FDATA (fdata_task_id) VALUES (1)"

say 'Nothing happens without an answer, and Enter is no answer.'
tq remove 1-9 --dry-run
tq remove bt:1-9 --dry-run
tq remove bt:1 --dry-run --delete-data
tq remove bt:1
for answer in n ''; do
    answered "$tqctl remove bt:1-2 --delete-data" y/N "$answer"
done
tq remove 7 --yes
files

say 'With a yes it goes, and the data only when it is meant.'
goes bt:1
answered "$tqctl rm bt:2 --delete-data" y/N Y
files
tq list --columns task
python3 -c "import sqlite3; print(sqlite3.connect('$database').execute('SELECT count(*) FROM BT_FDATA').fetchone())"

say 'HTTP and FTP tasks lose their process too.'
process=$(sleep 100 >/dev/null & echo $!)
put '/share/Films/my file' '/share/Films/my%20file' /share/Download/my\ file
printf '[BTDownload]\nHTTP_FTP Download Folder = Films\n' >/mnt/HDA_ROOT/korvo.conf
for address in 'http://example.org/my file' http://example.org/2 http://example.org/..; do
    "$tqctl" add "$address" >/dev/null
done
sql "UPDATE HTTP_FTP_TASK SET task_pid = $process WHERE task_id = 2;
     UPDATE HTTP_FTP_TASK SET task_savename = 'my%20file' WHERE task_id = 3"
"$tqctl" remove http:2 --dry-run --delete-data | sed "s/$process/PID/"
tq remove http:4 --dry-run --delete-data
goes http:2
while kill -0 "$process" 2>/dev/null; do sleep 0.1; done; echo 'its process is gone'
goes http:3 --delete-data

say 'Odd names: the plan is what the library does.'
for name in 'x/.' 'x/' . / "$(printf '/%.0s' {1..1010})y"; do
    put /share/Films/x /share/Films/y /share/Download/x /share/Download/y
    sql "INSERT INTO BT_TASK (task_id, task_torrent_name, task_total_wanted) VALUES (50, '$name', 1);
         INSERT INTO HTTP_FTP_TASK (task_id, task_filename, task_state, task_savename) VALUES (50, 'http://h/', 1, '$name')"
    goes bt:50 --delete-data
    goes http:50 --delete-data
done

say 'A share that is a symlink is followed, a directory below it is not.'
mv /share/Films /share/Behind && ln -s Behind /share/Films && mkdir /share/Behind/real && ln -s real /share/Behind/link
put /share/Behind/film /share/Behind/real/film
sql "UPDATE HTTP_FTP_TASK SET task_savename = 'film' WHERE task_id = 4; INSERT INTO HTTP_FTP_TASK
    (task_id, task_filename, task_state, task_savename, task_move_folder) VALUES (5, 'http://h/', 3, 'film', 'Films/link')"
tq remove http:4-5 --dry-run --delete-data
tq remove http:4-5 --yes --delete-data
find /share/Behind -name film

say 'What could not go is said. A database that cannot be written keeps its files.'
torrent stuck >/dev/null && torrent kept >/dev/null && put /share/Download/stuck/inner/file
tq remove bt:51 --yes --delete-data --dry-run
sql "UPDATE BT_TASK SET task_total_wanted = 1"
chmod a-w /share/Download/stuck/inner
tq remove bt:51 --yes --delete-data
chmod u+w /share/Download/stuck/inner
put /share/Download/kept
chmod a-w "$database"
tq remove bt:52 --yes --delete-data
chmod u+w "$database"
ls /share/Download/kept

say 'Clearing takes what is finished and leaves what was downloaded.'
sql "UPDATE BT_TASK SET task_state = 5; UPDATE HTTP_FTP_TASK SET task_state = 1;
     INSERT INTO HTTP_FTP_TASK (task_filename, task_state) VALUES ('http://h/done', 3)"
put /share/Films/done
tq clear --kind http --dry-run
tq clear --yes
tq clear --yes
ls /share/Download/kept /share/Films/done
tq list --columns task,name
