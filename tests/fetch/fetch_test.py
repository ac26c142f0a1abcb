#!/usr/bin/python3 -Wignore
"""tqfetchd against real servers, and against everything that may go wrong. In the sandbox:

    scripts/sandbox tests/fetch/fetch_test.py build/release/bin [CLASS] [-k PATTERN]
"""
import hashlib
import os
import pathlib
import random
import shutil
import signal
import sqlite3
import subprocess
import sys
import time
import unittest

import servers
from servers import DATA, OTHER, SIZE, Hostile, serve

BIN = os.path.realpath(sys.argv.pop(1))
DATABASE = "/mnt/HDA_ROOT/tq.db"
PROFILE = "/mnt/HDA_ROOT/korvo.conf"
DOWNLOADS = pathlib.Path("/share/Download")
QUEUED, RUNNING, FINISHED = 1, 2, 3
PATIENCE = 25


def tqctl(*arguments, check=True):
    return subprocess.run([f"{BIN}/tqctl", *map(str, arguments)], check=check, capture_output=True, text=True).stdout


def sql(statement, *values):
    with sqlite3.connect(DATABASE, timeout=20) as connection:
        connection.row_factory = sqlite3.Row
        return connection.execute(statement, values).fetchall()


def row(task):
    found = sql("SELECT * FROM HTTP_FTP_TASK WHERE task_id = ?", task)
    return found[0] if found else None


def add(address, **columns):
    columns = {"task_filename": address, "task_state": QUEUED, "task_pid": 0, "task_is_paused": 0, "task_type": 0,
               "task_errcode": 0, "task_savename": "", "task_start_time": "", "task_finish_time": "",
               "task_time_left": "", "task_username": "", "task_password": "", "task_move_folder": "",
               "task_progress": 0, "task_total_size": 0, "task_total_downloaded": 0, "task_download_rate": 0, **columns}
    with sqlite3.connect(DATABASE, timeout=20) as connection:
        return connection.execute(f"INSERT INTO HTTP_FTP_TASK({','.join(columns)}) "
                                  f"VALUES({','.join('?' * len(columns))})", list(columns.values())).lastrowid


def change(task, **columns):
    for name, value in columns.items():
        sql(f"UPDATE HTTP_FTP_TASK SET {name} = ? WHERE task_id = ?", value, task)


def finished(task):
    return row(task)["task_state"] == FINISHED


def failed(task):
    found = row(task)
    return found["task_errcode"] if found["task_state"] == QUEUED and found["task_is_paused"] else 0


def running(task, least=1):
    found = row(task)
    return found["task_state"] == RUNNING and found["task_total_downloaded"] >= least


def below(folder="/share"):
    return sorted(str(path.relative_to(folder)) for path in pathlib.Path(folder).rglob("*") if not path.is_dir())


class Daemon(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        if os.environ.get("KORVO_SANDBOX") != "1":
            sys.exit("Run it as: scripts/sandbox tests/fetch/fetch_test.py DIRECTORY")
        cls.httpd, cls.http = servers.start_http()
        cls.addClassCleanup(lambda: (cls.httpd.kill(), cls.httpd.wait()))
        cls.ftp = servers.start_ftp()
        cls.hostile = servers.start_hostile()

    def setUp(self):
        for folder in ("/mnt/HDA_ROOT", "/share", "/mnt/small", servers.ROOT):
            for path in pathlib.Path(folder).glob("*"):
                shutil.rmtree(path) if path.is_dir() and not path.is_symlink() else path.unlink()
        DOWNLOADS.mkdir()
        Hostile.seen.clear()
        servers.set_pace(slow=True)
        tqctl("init")
        self.daemon = None
        self.addCleanup(self.end)

    def start(self, *options):
        self.log = open("/tmp/log", "w")
        self.daemon = subprocess.Popen([f"{BIN}/tqfetchd", "--retry-wait", "1", "--timeout", "3", "--retries", "2",
                                        *options], stderr=self.log)

    def kill(self):
        if self.daemon and self.daemon.poll() is None:
            self.daemon.kill()
            self.daemon.wait()

    def end(self):
        """In the orderly way, whatever it does at that moment."""
        if self.daemon and self.daemon.poll() is None:
            self.daemon.send_signal(signal.SIGTERM)
            try:
                self.assertEqual(self.daemon.wait(15), 0)
            finally:
                self.kill()

    def until(self, condition, *arguments):
        end = time.monotonic() + PATIENCE
        while not (result := condition(*arguments)):
            if time.monotonic() > end:
                self.fail("nothing came of it:\n" + "\n".join(str(tuple(r)) for r in sql("SELECT * FROM HTTP_FTP_TASK")) +
                          "\n" + open("/tmp/log").read()[-2000:])
            time.sleep(0.05)
        return result

    def expect(self, name, data=DATA, folder=DOWNLOADS):
        self.assertEqual(hashlib.sha256((folder / name).read_bytes()).digest(), hashlib.sha256(data).digest(), name)


class DaemonTest(Daemon):
    def test_downloads_from_real_servers(self):
        for name in ("plain.bin", "private/asked.bin", "table/known.bin", "with space.bin"):
            serve(name)
        serve("empty", b"")
        host = self.http.split("/")[2]
        sql("INSERT INTO BT_ACCOUNT(account_host, account_enable, account_user, account_pass) VALUES"
            "(?, 0, 'berta', 'off'), (?, 1, 'berta', 'other'), ('127.0.0.2', 1, 'carla', 'x')", host, host)
        (DOWNLOADS / "plain.bin").write_text("mine")
        logins = {"task_username": "anna", "task_password": "secret"}
        tasks = [add(self.http + "plain.bin"), add(self.ftp + "plain.bin"), add(self.ftp + "with%20space.bin"),
                 add(self.http + "private/asked.bin", **logins), add(self.http + "table/known.bin"),
                 add(self.ftp + "plain.bin", **logins, task_savename="own.bin"), add(self.http + "empty"),
                 add(self.http + "private/asked.bin", task_username="anna", task_password="wrong"),
                 add(self.http + "none"), add(self.ftp + "none")]
        servers.set_pace(slow=False)
        self.start()
        for task in tasks[:7]:
            self.until(finished, task)
        self.assertEqual([self.until(failed, task) for task in tasks[7:]], [401, 404, 550])
        for name in ("plain (2).bin", "plain (3).bin", "with space.bin", "asked.bin", "known.bin", "own.bin"):
            self.expect(name)
        self.assertEqual((DOWNLOADS / "plain.bin").read_text(), "mine")
        self.assertEqual(len(below()), 8)
        done = row(tasks[0])
        self.assertEqual([done[name] for name in ("task_progress", "task_total_size", "task_total_downloaded", "task_pid",
                                                  "task_download_rate", "task_time_left", "task_savename")],
                         [100, SIZE, SIZE, 0, 0, "", "plain (2).bin"])
        self.assertRegex(done["task_finish_time"], r"^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d$")

    def test_goes_on_where_it_was(self):
        for name, server in (("x", self.hostile + "slow/"), ("y", self.ftp)):
            serve(name)
            task = add(server + name)
            self.start()
            self.until(running, task, 200_000)
            self.assertEqual(len(self.tokens()), 1)
            # Paused by the user, and resumed.
            change(task, task_is_paused=1)
            self.until(lambda: row(task)["task_pid"] == 0)
            self.assertEqual([row(task)[name] for name in ("task_is_paused", "task_state", "task_errcode")], [1, QUEUED, 0])
            kept = row(task)["task_total_downloaded"]
            change(task, task_is_paused=0)
            self.until(running, task, kept + 1)
            # Killed, and started again.
            self.kill()
            self.until(lambda: not self.tokens())
            servers.set_pace(slow=False)
            self.start()
            self.until(finished, task)
            servers.set_pace(slow=True)
            self.expect(name)
            self.end()
            self.assertEqual(below(), ["Download/" + name])
            (DOWNLOADS / name).unlink()
        self.assertGreater(sum("Range" in headers for _, headers in Hostile.seen), 1)

    def tokens(self):
        return subprocess.run(["pgrep", "-x", "tqfetchd-task"], capture_output=True, text=True).stdout.split()


    # ---- What servers do

    def test_hostile_servers(self):
        right = {name: add(self.hostile + name + "/" + name) for name in (
            "half", "flaky", "unsized", "changed", "changed_unsaid", "more", "wrong", "unchecked")}
        right["away"] = add(self.hostile + "away/away", task_username="anna", task_password="secret")
        wrong = {1018: "less/x", 404: "gone/x", 1047: "endless/x", 902: "local/x", 1028: "silent/x", 1027: "bloated/x"}
        wrong = {code: add(self.hostile + path) for code, path in wrong.items()}
        self.start("--transfers", "20")
        for name, task in right.items():
            self.until(finished, task)
            self.expect(name, OTHER if name.startswith("changed") else DATA)
        self.assertEqual({code: self.until(failed, task) for code, task in wrong.items()}, {code: code for code in wrong})
        logins = {path: "Authorization" in headers for path, headers in Hostile.seen if path.endswith("/away")}
        self.assertEqual(logins, {"/away/away": True, "/good/away": False})
        self.assertEqual(below("/share/Download"), sorted([*right, "x.part", "x.part.info"]))

    def test_names(self):
        long = "n" * 300 + ".bin"
        given = ["attachment; filename=../../x", "attachment; filename*=UTF-8''%2e%2e%2fy%20z", "inline; filename=\".\"",
                 "attachment; filename=\"..\"", "attachment; filename=" + long, "attachment; filename=\"a\\\"b;c\"",
                 "inline; filename=\"open",
                 "attachment; x=\"\\\";filename=no\"; filename = no; filenames=no; filename=spaced   "]
        tasks = [add(self.hostile + "named/" + servers.urllib.parse.quote(text, safe="")) for text in given]
        paths = ["good/%2e%2e%2fup", "good/a%00b", "good/100%25.bin", "good/", "good/" + "m" * 255,
                 "good/" + "%C3%A9" * 130]
        tasks += [add(self.hostile + path) for path in paths]
        tasks += [add(self.hostile + "good/x", task_savename=name) for name in ("../../own", "/share/else", ".", "own")]
        self.start("--transfers", "5")
        for task in tasks:
            self.until(finished, task)
        names = [row(task)["task_savename"] for task in tasks]
        self.assertEqual(sorted("Download/" + name for name in names), below())
        self.assertEqual(names, ["x", "y z", "_", "_.", "n" * 241 + ".bin", 'a"b;c', "open", "spaced", "up", "a_b",
                                 "100_.bin", "download",
                                 "m" * 245, "é" * 122, "own (2)", "else", "_ (2)", "own"])


    # ---- What users and disks do

    def test_removal(self):
        serve("stays")
        stays = add(self.ftp + "stays")
        phases = {name: add(self.hostile + f"{kind}/{name}") for name, kind in (
            ("transferring", "slow"), ("silent", "silent"), ("waiting", "less"), ("paused", "slow"), ("later", "slow"))}
        self.start("--transfers", "10", "--retry-wait", "5", "--timeout", "30")
        for name in ("transferring", "paused", "later"):
            self.until(running, phases[name])
        token = row(phases["later"])["task_pid"]
        os.kill(token, signal.SIGKILL)
        self.until(lambda: row(phases["later"])["task_pid"] == 0)
        change(phases["paused"], task_is_paused=1)
        self.until(lambda: row(phases["waiting"])["task_errcode"] == 1018 and not row(phases["paused"])["task_pid"])
        later = phases.pop("later")
        self.until(lambda: row(later)["task_pid"] not in (0, token))
        tqctl("remove", "--kind", "http", "--yes", "--delete-data", *phases.values())
        self.until(lambda: not any(name.startswith("Download/transferring") for name in below()))
        self.daemon.send_signal(signal.SIGHUP)  # looks for what is left at once
        self.until(lambda: {name.split("/")[1].split(".")[0] for name in below()} <= {"stays", "later"})
        self.end()
        tqctl("remove", "--kind", "http", "--yes", later)
        servers.set_pace(slow=False)
        self.start()
        self.until(finished, stays)
        self.until(lambda: below() == ["Download/stays"])
        self.expect("stays")

    def test_schedule_and_one_daemon(self):
        hours = lambda c: pathlib.Path(PROFILE).write_text(
            f"[BTDownload]\nSchedule Time = {c * 168}\nSchedule Time Enable = TRUE\n")
        hours("0")
        task = add(self.hostile + "slow/x")
        self.start()
        time.sleep(2)
        self.assertEqual(row(task)["task_state"], QUEUED)
        for hour, reached in (("1", lambda: running(task)), ("0", lambda: row(task)["task_state"] == QUEUED)):
            hours(hour)
            self.daemon.send_signal(signal.SIGHUP)
            self.until(reached)
        second = subprocess.run([f"{BIN}/tqfetchd"], capture_output=True, text=True)
        self.assertEqual((second.returncode, second.stderr),
                         (3, f"tqfetchd: another tqfetchd runs already (process {self.daemon.pid})\n"))

    # ---- What becomes of the store and the daemon

    def test_what_it_cannot_write(self):
        with open("/dev/full", "w") as full:
            self.assertEqual(subprocess.run([f"{BIN}/tqfetchd", "--help"], stdout=full, stderr=full).returncode, 1)
        add(self.hostile + "slow/x")
        os.chmod(DATABASE, 0o400)
        self.start()
        self.until(lambda: "which this user may not change" in open("/tmp/log").read())

    def test_locked_and_vanished_store(self):
        task = add(self.hostile + "slow/x")
        self.start()
        self.until(running, task)
        with sqlite3.connect(DATABASE, isolation_level=None) as lock:
            lock.execute("BEGIN EXCLUSIVE")
            before = os.path.getsize(DOWNLOADS / "x.part")
            self.until(lambda: os.path.getsize(DOWNLOADS / "x.part") > before + 200_000)
            lock.execute("ROLLBACK")
        os.rename(DATABASE, DATABASE + ".away")
        time.sleep(3)
        os.rename(DATABASE + ".away", DATABASE)
        servers.set_pace(slow=False)
        self.until(finished, task)
        self.expect("x")

    def test_killed_at_any_moment(self):
        os.mkdir("/share/Films")
        sql("CREATE TABLE done(task)")
        sql("CREATE TRIGGER count AFTER UPDATE OF task_state ON HTTP_FTP_TASK WHEN NEW.task_state = 3 "
            "BEGIN INSERT INTO done VALUES(NEW.task_id); END")
        data = {}
        for number in range(12):
            name = f"file{number}"
            data[name] = random.Random(number).randbytes(random.Random(number).randrange(200_000, 1_500_000))
            serve(name, data[name])
            add((self.http if number % 2 else self.ftp) + name, task_move_folder=("", "Films")[number % 3 == 0])
        slow = add(self.hostile + "slow/slow")
        seed = random.randrange(10 ** 9)
        moment = random.Random(seed)
        for _ in range(8):
            self.start("--transfers", "2")
            time.sleep(moment.uniform(0.05, 0.8))
            self.kill()
        servers.set_pace(slow=False)
        self.start()
        with self.subTest(seed=seed):
            for task in range(1, slow + 1):
                self.until(finished, task)
                folder, name = row(task)["task_move_folder"] or "Download", row(task)["task_savename"]
                self.expect(name, data.get(name, DATA), pathlib.Path("/share", folder))
            self.until(lambda: len(below()) == slow)
            self.assertEqual([list(r) for r in sql("SELECT task FROM done ORDER BY task")],
                             [[task] for task in range(1, slow + 1)])
            self.assertEqual([r["task_pid"] for r in sql("SELECT task_pid FROM HTTP_FTP_TASK")], [0] * slow)


# With a small disk beside the share's.
class DiskTest(Daemon):
    def test_moves(self):
        for name in ("Films", "outside"):
            os.mkdir("/share/" + name)
        os.symlink("/mnt/small", "/share/Small")
        os.symlink("/share/outside", "/share/Films/link")
        os.mkdir("/mnt/small/deep")
        little = DATA[:300_000]
        serve("little", little)
        serve("large")
        pathlib.Path("/share/Films/little").write_text("mine")
        folders = {"Films": little, "Small/deep": little, "Films/link": None, "../tmp": None, "absent": None, ".": None}
        tasks = {folder: add(self.http + "little", task_move_folder=folder) for folder in folders}
        full = add(self.http + "large", task_move_folder="Small")
        self.start("--retries", "0", "--transfers", "9")
        for folder, task in tasks.items():
            if folders[folder] is None:
                self.assertEqual(self.until(failed, task), 901, folder)
            else:
                self.until(finished, task)
                self.expect(row(task)["task_savename"], little, pathlib.Path("/share", folder))
        self.assertEqual(self.until(failed, full), 900)
        self.assertEqual(pathlib.Path("/share/Films/little").read_text(), "mine")
        self.assertEqual(os.listdir("/share/outside"), [])
        self.assertEqual(len(os.listdir("/mnt/small")), 1)
        # With another place to go the complete file needs no server.
        self.httpd.send_signal(signal.SIGSTOP)
        self.addCleanup(self.httpd.send_signal, signal.SIGCONT)
        change(full, task_errcode=0, task_move_folder="Films", task_is_paused=0)
        self.until(finished, full)
        self.expect("large", folder=pathlib.Path("/share/Films"))

    def test_full_disk_and_planted_files(self):
        os.symlink("/mnt/small", "/share/Small")
        pathlib.Path(PROFILE).write_text("[BTDownload]\nHTTP_FTP Download Folder = Small\n")
        victim = pathlib.Path("/share/Download/victim")
        victim.write_text("mine")
        os.symlink(victim, "/mnt/small/link.part")
        os.mkfifo("/mnt/small/fifo.part")
        serve("large")
        small = {name: add(self.http + name) for name in ("link", "fifo", "second")}
        for name in small:
            serve(name, DATA[:200_000])
        full = [add(self.hostile + "unsized/unsized"), add(self.http + "large")]
        self.start("--retries", "0", "--transfers", "1")
        for task in small.values():
            self.until(finished, task)
        self.assertEqual([self.until(failed, task) for task in full], [900, 900])
        self.assertEqual(victim.read_text(), "mine")
        # What was planted while a task waits.
        slow = add(self.hostile + "slow/x")
        pathlib.Path(PROFILE).unlink()
        self.until(running, slow)
        self.kill()
        partial = DOWNLOADS / "x.part"
        partial.unlink()
        os.link(victim, partial)
        servers.set_pace(slow=False)
        self.start()
        self.until(finished, slow)
        self.expect("x")
        self.assertEqual(victim.read_text(), "mine")


if __name__ == "__main__":
    unittest.main(verbosity=2)
