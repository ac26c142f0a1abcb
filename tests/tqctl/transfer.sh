# The whole database out and in again: backup, export, import.
fresh

# Every row of every table as another program sees it: types, bytes and the identifiers that come next.
everything() {
    python3 - "$1" <<'PYTHON'
import sqlite3, sys
database = sqlite3.connect(sys.argv[1])
database.text_factory = bytes
for (name,) in database.execute("SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY rowid").fetchall():
    for row in database.execute(f"SELECT * FROM {name.decode()} ORDER BY 1"):
        print(name, [(type(value).__name__, value) for value in row])
PYTHON
}

sql "INSERT INTO BT_TASK (task_id, task_torrent_name, task_filename, task_state, task_rating, task_hash, task_pieces)
    VALUES (3, 'it''s ' || char(0x1F600) || char(10), NULL, 9223372036854775807, 0.1, CAST(x'ff00fe' AS TEXT), x'00ff'),
    (7, 'a' || char(0) || 'b', x'', -9223372036854775808, 1e300, '', '{\"blob\": \"00\"}'), (8, '5', '', 'text', 9e999, 1, 2)"
sql "INSERT INTO HTTP_FTP_TASK (task_filename, task_password, task_total_size) VALUES ('http://u:secret@h/f', 'secret', 5000000000)"
sql "INSERT INTO BT_RSS (rss_url, rss_enclosure_url) VALUES ('http://u:secret@h/', x'736563726574'); UPDATE BT_TASK SET
    task_current_tracker = 'http://t/?passkey=secret', task_magnet_link = 'magnet:?tr=http%3A%2F%2Fu%3Asecret%40t'"
sql "INSERT INTO BT_ACCOUNT (account_host, account_pass) VALUES ('h', 'secret'), ('i', ''), ('j', NULL)"
sql "DELETE FROM BT_TASK WHERE task_id = 8; UPDATE sqlite_sequence SET seq = 41 WHERE name = 'BT_RSS'"
sql "INSERT INTO BT_SESSION VALUES (1, -9e999, 2.5, -0.0, 1e15, 123456789012345678)"
sql "CREATE TABLE foreign_table (a)"
everything "$database" >before

say 'A backup has everything, is for its owner alone, and replaces nothing.'
umask 022
tq backup copy.db
stat -c %a copy.db
everything copy.db | cmp - before && echo same
tq backup copy.db
tq backup missing/copy.db
for name in file:other.db 'file:x.db?mode=memory' :memory:; do
    tq backup "$name"
    everything "./$name" | cmp - before && echo same
done
tq list --db copy.db --kind http --columns task,address
ln -s copy.db link.db && tq list --db link.db
mkfifo pipe && tq list --db pipe
tq import pipe

say 'Passwords are left out of an export.'
"$tqctl" export >masked.json 2>warning; cat warning
python3 -m json.tool masked.json /dev/null && grep -c secret masked.json || true
grep -A 3 BT_ACCOUNT masked.json; echo

say 'With them, import brings every bit back.'
"$tqctl" export --show-passwords >export.json 2>/dev/null
sed -n '/BT_TASK/,/]}/p' export.json
python3 -m json.tool export.json /dev/null
LC_ALL=C grep -c $'[\x80-\xff\x01-\x09\x0b-\x1f]' export.json || true
tq import export.json
rm "$database" && tq import export.json
sql "CREATE TABLE foreign_table (a)" && everything "$database" | cmp - before && echo same
"$tqctl" export --show-passwords 2>/dev/null | cmp - export.json && echo same
tq rss add --url u --title next

say 'Without them, only when that is understood.'
rm -f "$database"
tq import masked.json
ls /mnt/HDA_ROOT
status "$tqctl" import --without-passwords - <masked.json
tq account list --show-passwords --columns host,password
tq list --kind http --show-passwords --columns address,password

say 'All or nothing, and never what is no export.'
rm -f "$database"
sed 's/"http:/5, &/' export.json >longer
sed 's/^\[7,/[3,/' export.json >twice
sed 's/task_pieces/task_bits/' export.json >columns
sed 's/"BT_RSS"/"BT_XXX"/' export.json >table
sed 's/"version": 1/"version": 2/' export.json >newer
head -c 1000 export.json >cut
sed 's/"last_id": 41/"last_id": 2147483647/' export.json >last
sed 's/^\[7,/[2147483647,/' export.json >large
sed 's/^\[7,/["7",/' export.json >text
sed 's/secret@h/********@h/' export.json >mask
for file in longer twice columns table newer cut last large text mask missing; do
    tq import $file
    [[ ! -e $database ]] || echo 'something is left'
done
printf '{"format": "tqctl export", "version": 1, "passwords": "shown", "tables": []}' | status "$tqctl" import -
tq count --filter all
tq import - </dev/null

say 'An export larger than any buffer is whole.'
sql "WITH RECURSIVE r(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM r WHERE i < 3000)
    INSERT INTO BT_RSS (rss_title) SELECT printf('%02000d', i) FROM r"
"$tqctl" export | python3 -c 'import json, sys; print(sum(len(table["rows"]) for table in json.load(sys.stdin)["tables"]))'
