# HTTP/FTP tasks: fields, pausing, trying again, passwords, what a dead downloader left.
fresh
say 'A password is asked for, never an argument, and shown only on request.'
tq add http://h/a --password=sekret0
echo s3cret | tq add http://h/a --user me --password --folder In --save-as 'file name' --position 2 --type 1
tq list --kind http --columns user,password
tq show http:1 --show-passwords | grep -E 'user|password|folder|save_as|position|type'
tq show http:1 | grep password
tq add 'ftp://me:sek/ret4@h/f' 'http://a:p?w@h/x?token=t0p&b=1' 'http://h:80/plain'
tq list
tq list --show-passwords --columns name
tq list --json --columns task,address
on_terminal 30 "$tqctl" show http:2 | grep address
tq add http://h/b </dev/null --password

say 'Fields change, and each kind has its own.'
tq set http:1-2 --folder /share/Films --position 7
tq set http:1 --save-as b.iso --address https://h/b --folder=
tq list --kind http --columns task,folder,position,save_as,address
tq set http:1 --hash abc
tq set http:1 --address sftp://h
tq set http:1
for value in /etc a/../b; do tq set http:1 --folder $value; done
for value in a/b a%41 .. "$(printf '%0250d' 0)"; do tq set http:1 --save-as $value; done

say 'Paused, resumed, and one that failed tried again.'
tq pause http:1
sql 'UPDATE HTTP_FTP_TASK SET task_errcode = 1, task_is_paused = 1 WHERE task_id = 2'
tq list --kind http --columns task,status,paused
tq resume http:1-2
tq list --kind http --columns task,status,paused,error

say 'After the downloader died.'
tq recover
sql 'UPDATE HTTP_FTP_TASK SET task_state = 2, task_pid = 99999999, task_download_rate = 5 WHERE task_id = 3'
tq recover
tq list --kind http --columns task,status,pid,download_rate
