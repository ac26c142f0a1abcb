# The device's settings: the week's schedule, the notification switches, an alert mail.
say 'Without a configuration file: every hour, switched off.'
tq schedule show
tq schedule now

say 'Hours change, the others stay; weeks and days have their ends.'
tq schedule set mon-fri 09-17 0 --on
tq schedule set sat-sun 22-24 x
tq schedule set fri 9 ' '
tq schedule set Weekdays 22-6 n
tq schedule set weekend 12 w
tq schedule show
tq schedule show --json
on_terminal 80 "$tqctl" schedule show
tq schedule set all all 7
tq schedule now
tq schedule set --off
tq schedule now

say 'What is no schedule changes nothing.'
for words in '' 'mon' 'mon 9' 'mon 9 10' 'moonday 9 0' 'mon-foo 9 0' 'mon 24 0' 'mon 9-9 0' 'mon -1 0' \
    'mon 9-25 0' '--on --off' 'mon 9 0 1'; do
    tq schedule set $words
done
"$tqctl" schedule show | grep -c 777777777777777777777777

say 'Each switch changes alone.'
tq notify show
tq notify set --im on --desktop on
tq notify set --desktop off
tq notify show
tq notify set --im off
tq notify set --email on
tq notify show
grep Notification /mnt/HDA_ROOT/korvo.conf

say 'An alert mail goes to sendmail, and is traced.'
printf '#!/bin/sh\ncat >/tmp/mail\n' >/tmp/sendmail && chmod +x /tmp/sendmail
printf '[Alert]\nMail Program = /tmp/sendmail\nMail To = admin\n' >>/mnt/HDA_ROOT/korvo.conf
tq notify send "It's done: \`id\` \$HOME"
grep -v '^Subject' /tmp/mail
printf '[Alert]\nMail Program = /tmp/none\n' >/mnt/HDA_ROOT/korvo.conf
tq notify send lost
tq notify set --email on
tq notify send lost
tq notify set
tq notify set --email maybe
sed 's/([^,]*, /(HOST, /' /tmp/tqv3.log

say 'A configuration that cannot be written is told.'
chmod a-w /mnt/HDA_ROOT
tq schedule set mon 9 0
tq notify set --desktop on
chmod u+w /mnt/HDA_ROOT
