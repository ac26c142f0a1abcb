# A task goes as a whole: what would go is shown first, and asked about, and what is not asked for stays.
fresh
files() { find /share -type f | sort; find /mnt/HDA_ROOT -maxdepth 1 -type f ! -name 'tq.db*'; }
put() { for path; do mkdir -p "${path%/*}" && echo data >"$path"; done; }
put '/share/Download/A film/disc 1/part' '/share/Download/A film.fastresume' /share/Download/other /mnt/HDA_ROOT/film.torrent
"$tqctl" add --name 'A film' --file /mnt/HDA_ROOT/film.torrent >/dev/null
"$tqctl" add --name other >/dev/null

say 'Nothing happens without an answer.'
tq remove 1-9 --dry-run
tq remove 1 --dry-run --delete-data
tq remove 1
echo n | script -qec "$tqctl remove 1 --delete-data" /dev/null | tr -d '\r' || true
tq remove 7 --yes
tq remove 1 --kind http --yes
files

say 'With a yes it goes, and the data only when it is meant.'
tq remove 1 --yes
files
echo y | script -qec "$tqctl remove 2 --delete-data" /dev/null | tr -d '\r'
files
tq count --kind bt --filter all

say 'HTTP and FTP tasks lose their process too.'
process=$(sleep 100 >/dev/null & echo $!)
put '/share/Films/my file' '/share/Films/my%20file' /share/Download/my\ file
printf '[BTDownload]\nHTTP_FTP Download Folder = Films\n' >/mnt/HDA_ROOT/korvo.conf
for address in 'http://example.org/my file' http://example.org/2 http://example.org/..; do
    "$tqctl" add "$address" >/dev/null
done
sql "UPDATE HTTP_FTP_TASK SET task_pid = $process WHERE task_id = 1;
     UPDATE HTTP_FTP_TASK SET task_savename = 'my%20file' WHERE task_id = 2"
"$tqctl" remove 1 --kind http --dry-run --delete-data | sed "s/$process/PID/"
tq remove 2 --kind http --dry-run --delete-data
tq remove 3 --kind http --dry-run --delete-data
tq remove 1 --kind http --yes
while kill -0 "$process" 2>/dev/null; do sleep 0.1; done; echo 'its process is gone'
tq remove 2 --kind http --yes --delete-data
files

say 'A share that is a symlink is followed. A row that cannot be deleted is reported.'
mv /share/Films /share/Behind && ln -s Behind /share/Films && put /share/Films/film
sql "UPDATE HTTP_FTP_TASK SET task_savename = 'film' WHERE task_id = 3"
tq remove 3 --kind http --dry-run --delete-data
chmod a-w "$database" /mnt/HDA_ROOT
tq remove 3 --kind http --yes --delete-data
chmod u+w "$database" /mnt/HDA_ROOT
ls /share/Behind
