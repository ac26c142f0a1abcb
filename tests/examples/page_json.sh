# What a browser would be given, parsed again: pages of both kinds, hostile names, bad queries, no database.
page() {
    printf '$ QUERY_STRING=%q page_json\n' "$1"
    QUERY_STRING=$1 "${tqctl%/*}/page_json" | python3 -c '
import json, sys
head, _, body = sys.stdin.buffer.read().decode().partition("\r\n\r\n")
page = json.loads(body)
print(*[line for line in head.split("\r\n") if not line.startswith("Content-Type: application/json")])
print(*[json.dumps(task, ensure_ascii=False) for task in page.pop("tasks", [])], page, sep="\n")'
}
fresh
example downloader http://example.org/film.iso >/dev/null
sql "UPDATE HTTP_FTP_TASK SET task_start_time = '2026', task_finish_time = '2027', task_errcode = 7;
     INSERT INTO BT_TASK(task_torrent_name, task_start_time, task_state, task_rating) VALUES
     ('It''s \"ä\" <b>\\' || char(10, 1), '2024', 3, 2.5), (CAST(x'41ff42c3' AS TEXT), '2025', 5, '-'), ('404', '2028', 1, 1)"
page ''
page 'start=1&end=2'
page 'filter=6&start=0&&end=50'
page 'end=0'
page 'end=501'
page 'start=3&end=2'
page 'filter=7'
rm "$database"
page ''
