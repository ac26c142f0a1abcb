#!/usr/bin/python3
"""Prints the magnet link of a torrent file, and with --size the number of bytes that it describes.

The hash in a magnet link is the SHA-1 of the torrent's information dictionary exactly as it stands in the file, so the
file is walked for the place where that dictionary begins and ends; what was read is never encoded again.
"""
import hashlib
import sys
from urllib.parse import quote


class NotATorrent(Exception):
    """The file does not hold what a torrent file holds."""


def read_value(data, start):
    """The value that begins at `start`, and the position behind it. Dictionaries map each key to (value, begin, end)."""
    kind = data[start : start + 1]
    if kind == b"i":
        end = data.index(b"e", start)
        return int(data[start + 1 : end]), end + 1
    if kind == b"l":
        items, position = [], start + 1
        while data[position : position + 1] != b"e":
            item, position = read_value(data, position)
            items.append(item)
        return items, position + 1
    if kind == b"d":
        entries, position = {}, start + 1
        while data[position : position + 1] != b"e":
            key, begin = read_value(data, position)
            value, position = read_value(data, begin)
            entries[key] = (value, begin, position)
        return entries, position + 1
    colon = data.index(b":", start)
    end = colon + 1 + int(data[start:colon])
    if end > len(data):
        raise NotATorrent("a text ends behind the end of the file")
    return data[colon + 1 : end], end


def describe(data):
    """The magnet link and the size in bytes of the torrent in `data`."""
    try:
        torrent, _ = read_value(data, 0)
        info, begin, end = torrent[b"info"]
        name = info[b"name"][0]
        tracker = torrent[b"announce"][0]
        if b"length" in info:
            size = info[b"length"][0]
        else:
            size = sum(file[b"length"][0] for file in info[b"files"][0])
    except (ValueError, KeyError, TypeError, AttributeError, RecursionError) as error:
        raise NotATorrent("it is not a complete torrent") from error
    info_hash = hashlib.sha1(data[begin:end]).hexdigest()
    return f"magnet:?xt=urn:btih:{info_hash}&dn={quote(name, safe='')}&tr={quote(tracker, safe='')}", size


def main(arguments):
    wants_size = arguments[:1] == ["--size"]
    paths = arguments[1:] if wants_size else arguments
    if len(paths) != 1:
        print("usage: magnet.py [--size] FILE.torrent", file=sys.stderr)
        return 2
    try:
        with open(paths[0], "rb") as file:
            magnet, size = describe(file.read())
    except (OSError, NotATorrent) as error:
        print(f"magnet.py: {paths[0]}: {error}", file=sys.stderr)
        return 1
    print(size if wants_size else magnet)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
