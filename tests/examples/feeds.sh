# Two jobs of one feed and one of another; the feed is fetched twice and has one item more the second time.
fresh
"$tqctl" job add --name films --filter Film --exclude trailer --url http://example.org/rss >/dev/null
"$tqctl" job add --name all --url http://example.org/rss --last-check 600 >/dev/null
"$tqctl" job add --name elsewhere --url http://example.org/other --last-check 600 >/dev/null
hash=82BD74CDBB12A112F9ADB756197B535C39E186D
items="Film 1\tmagnet:?xt=urn:btih:${hash}1\nno link\nFilm 1 trailer\tmagnet:?xt=urn:btih:${hash}2\nIt's 1/2 a book\tmagnet:?dn=book&xt=urn:btih:${hash}3\nA film without a hash\tmagnet:?xt=3\n"

example feeds
example feeds http://example.org/rss "Al's" < <(printf "$items")
example feeds http://example.org/rss "Al's" < <(printf "${items}Film 2\tmagnet:?xt=urn:btih:${hash}4\nFilm 1 once more\tmagnet:?xt=urn:btih:${hash}1\n")
tq rss items | cut -f 1,2,6,7
tq list --kind bt
tq msg status | tail -1
say 'Jobs that were checked:'
"$tqctl" job list --json | python3 -c 'import json, sys
print(*[job["name"] for job in json.load(sys.stdin) if job["last_check"] > 600])'
example feeds http://example.org/rss "$(printf '%057d' 0)" </dev/null
rm "$database"
example feeds http://example.org/rss "Al's" < <(printf "$items")
