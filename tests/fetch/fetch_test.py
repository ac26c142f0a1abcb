#!/usr/bin/python3 -Wignore
"""tqfetchd against real servers, and against everything that may go wrong. In the sandbox:

    scripts/sandbox tests/fetch/fetch_test.py build/release/bin [-k PATTERN]
"""
import fcntl
import hashlib
import os
import pathlib
import random
import re
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


class DaemonTest(unittest.TestCase):
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
            for path in pathlib.Path(folder).iterdir():
                shutil.rmtree(path) if path.is_dir() and not path.is_symlink() else path.unlink()
        DOWNLOADS.mkdir()
        Hostile.seen.clear()
        tqctl("init")
        self.daemon = None
        self.addCleanup(self.kill)

    def start(self, *options):
        self.log = open("/tmp/log", "a+")
        self.daemon = subprocess.Popen([f"{BIN}/tqfetchd", "--retry-wait", "1", "--timeout", "3", "--retries", "2",
                                        *options], stderr=self.log)

    def kill(self):
        if self.daemon and self.daemon.poll() is None:
            self.daemon.kill()
            self.daemon.wait()

    def until(self, condition, *arguments):
        end = time.monotonic() + PATIENCE
        while not (result := condition(*arguments)):
            if time.monotonic() > end:
                self.fail("nothing came of it; the tasks are " + str([dict(r) for r in sql(
                    "SELECT * FROM HTTP_FTP_TASK")]) + open("/tmp/log").read()[-2000:])
            time.sleep(0.05)
        return result

    def expect(self, name, data=DATA, folder=DOWNLOADS):
        self.assertEqual(hashlib.sha256((folder / name).read_bytes()).digest(), hashlib.sha256(data).digest(), name)

    # ---- What it is for

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
            self.start()
            self.until(finished, task)
            self.expect(name)
            self.daemon.send_signal(signal.SIGTERM)
            self.assertEqual(self.daemon.wait(5), 0)
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
                 "attachment; filename=\"..\"", "attachment; filename=" + long, "attachment; filename=\"a\\\"b;c\""]
        tasks = [add(self.hostile + "named/" + servers.urllib.parse.quote(text, safe="")) for text in given]
        paths = ["good/%2e%2e%2fup", "good/a%00b", "good/100%25.bin", "good/", "good/" + "m" * 255]
        tasks += [add(self.hostile + path) for path in paths]
        tasks += [add(self.hostile + "good/x", task_savename=name) for name in ("../../own", "/share/else", ".", "own")]
        self.start("--transfers", "5")
        for task in tasks:
            self.until(finished, task)
        names = [row(task)["task_savename"] for task in tasks]
        self.assertEqual(sorted("Download/" + name for name in names), below())
        self.assertEqual(names, ["x", "y z", "_", "_.", "n" * 241 + ".bin", 'a"b;c', "up", "a_b", "100_.bin", "download",
                                 "m" * 245, "own (2)", "else", "_ (2)", "own"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
