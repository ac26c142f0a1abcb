# A downloader that crashes and is started again: nothing is lost, nothing is fetched twice.
example downloader --crash http://example.org/film.iso ftp://example.org/book.pdf
example downloader
example downloader
rm -r /mnt/HDA_ROOT
example downloader
mkdir /mnt/HDA_ROOT
