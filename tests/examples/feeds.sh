# Two jobs of one feed and one of another; the feed is fetched twice and has one item more the second time.
fresh
"$tqctl" job add --name films --filter Film --exclude trailer --url http://example.org/rss >/dev/null
"$tqctl" job add --name all --url http://example.org/rss --last-check 600 >/dev/null
"$tqctl" job add --name elsewhere --url http://example.org/other --last-check 600 >/dev/null
items="Film 1\tmagnet:?xt=1\nno link\nFilm 1 trailer\tmagnet:?xt=2\nIt's a book\tmagnet:?xt=3\n"

example feeds
example feeds http://example.org/rss "Al's" < <(printf "$items")
example feeds http://example.org/rss "Al's" < <(printf "${items}Film 2\tmagnet:?xt=4\n")
tq rss items
tq list --kind bt
say 'Jobs that were checked:'
"$tqctl" job list --json | python3 -c 'import json, sys
print(*[job["rss_job_name"] for job in json.load(sys.stdin) if job["rss_job_last_check"] > 600])'
example feeds http://example.org/rss "$(printf '%057d' 0)" </dev/null
rm "$database"
example feeds http://example.org/rss "Al's" < <(printf "$items")
