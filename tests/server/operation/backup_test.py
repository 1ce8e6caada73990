"""Copies of a database: made while it is used, kept, and put in its place."""

import contextlib
import fcntl
import os
import pathlib
import re
import sqlite3
import tempfile
import threading
import time
import unittest

import stage


class Backup(stage.OperationTest):
    def bodies(self, file):
        with sqlite3.connect(f"file:{file}?mode=ro", uri=True) as database:
            self.assertEqual(database.execute("PRAGMA integrity_check").fetchone()[0], "ok")
            return [body for body, in database.execute("SELECT body FROM beam ORDER BY number")]

    def bodies_of(self, database):
        with tempfile.TemporaryDirectory() as folder:
            status, _, errors = self.run_server("backup", f"{folder}/copy", "--database", database)
            self.assertEqual(status, 0, errors)
            return self.bodies(f"{folder}/copy")

    def kept(self, output):
        """The address of what a restore has kept."""
        name = re.search("is kept as (?:the schema )?(.*)", output)[1]
        return (f"{self.database}&options=-csearch_path%3D{name}" if stage.POSTGRES
                else f"sqlite:{name}")

    def test_a_backup_is_made_of_one_moment_however_much_others_write(self):
        server = self.serving()
        seat = server.circle()
        server.send(seat, "first")
        sent, stop = ["first"], threading.Event()

        def write():
            while not stop.is_set():
                sent.append(f"beam {len(sent)}")
                server.send(seat, sent[-1] * 100)

        writer = threading.Thread(target=write)
        writer.start()
        try:
            for number in range(3):
                self.command("backup", self.folder / f"{number}.sqlite")
        finally:
            stop.set()
            writer.join()
        for number in range(3):
            found = self.bodies(self.folder / f"{number}.sqlite")
            self.assertEqual(len(found), len(sent[:len(found)]))
            self.assertEqual(found[1:], [body * 100 for body in sent[1:len(found)]])
        left = self.folder / "left.sqlite.part"
        left.write_text("by one that was killed")
        with left.open() as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            for name, trouble in (("0", "there is a file"), ("left", "by another process"),
                                  ("no/folder", "No such file")):
                status, _, errors = self.run_server(
                    "backup", self.folder / f"{name}.sqlite", "--database", self.database)
                self.assertEqual((status, trouble in errors), (1, True), errors)
        self.command("backup", self.folder / "left.sqlite")
        self.assertEqual(len(self.bodies(self.folder / "left.sqlite")), len(sent))
        self.assertEqual(list(self.folder.glob("*.part")), [])

    def test_after_a_restore_nobody_misses_what_is_sent_from_then_on(self):
        def restored():
            self.assertEqual(len(self.bodies_of(self.kept(
                self.command("restore", self.folder / "copy.sqlite")))), 101)

        # As from an operator's own copy of the database.
        def put_back_by_other_means():
            self.sql(f"UPDATE circle SET tick = {int(time.time())}")
            self.sql("DELETE FROM beam WHERE body LIKE 'lost%'")
            self.command("advance")

        for put_back in (restored, put_back_by_other_means):
            with self.subTest(put_back.__name__):
                self.database = self.new_database()
                self.put_back_and_go_on(put_back)
                (self.folder / "copy.sqlite").unlink()

    def put_back_and_go_on(self, put_back):
        server = self.serving()
        ana = server.circle("ana")
        ben = server.join(ana["code"], "ben")
        server.send(ana, "kept")
        since = {"knows only what was kept": server.poll(ben)["server_time"] - 1}
        self.command("backup", self.folder / "copy.sqlite")
        for number in range(100):  # beyond the clock, as in a burst
            server.send(ana, f"lost {number}")
        since["knows what was lost"] = server.poll(ben)["server_time"] - 1
        self.assertGreater(since["knows what was lost"], time.time() + 60)

        for command in (["restore", self.folder / "copy.sqlite"], ["advance"]):
            status, _, errors = self.run_server(*command, "--database", self.database)
            self.assertEqual((status, "a server uses it" in errors), (1, True), errors)
        self.assertEqual(len(server.poll(ben)["beams"]), 101)
        server.end()
        put_back()

        server = self.serving("--hold", "0")
        since["has been away from the beginning"] = 0
        for number in range(120):
            server.send(ana, f"new {number}")
            if number in (0, 60, 119):  # whenever it is that they ask again
                for who, tick in since.items():
                    with self.subTest(who=who, number=number):
                        found = [beam["body"] for beam in server.poll(ben, tick)["beams"]]
                        new = [f"new {n}" for n in range(number + 1)]
                        self.assertEqual(found[-len(new):], new)
        server.end()

    @unittest.skipUnless(stage.POSTGRES, "two engines are needed")
    def test_a_backup_is_for_either_engine(self):
        server = self.serving()
        ana = server.circle("ana")
        ben = server.join(ana["code"], "ben")
        server.send(ana, "as it is: \\ ' \" {} \n \u00e9", effect="shake")
        server.send(ben, "sealed", open_at=int(time.time()) + 9_000)
        told = server.poll(ben)["beams"]
        for number, database in enumerate((f"sqlite:{self.folder / 'other.sqlite'}",
                                           self.new_database())):
            copy = self.folder / f"{number}.sqlite"
            self.command("backup", copy)
            server.end()
            self.database = database
            self.command("restore", copy)
            server = self.serving()
            self.assertEqual(server.poll(ben)["beams"], told)
            server.send(ana, "new")
            told = server.poll(ben)["beams"]
            self.assertEqual(told[-1]["body"], "new")

    @unittest.skipIf(stage.POSTGRES, "it is about a file")
    def test_who_starts_during_a_restore_does_not_go_on_with_what_was_there(self):
        self.command("create-circle")
        file = self.database.removeprefix("sqlite:")
        self.command("backup", self.folder / "copy.sqlite")
        starting = []
        with open(file, "r+b") as locked:  # as by a restore
            fcntl.lockf(locked, fcntl.LOCK_EX, 512, 0x40000000)
            waiting = threading.Thread(target=lambda: starting.append(
                self.run_server("stats", "--database", self.database)))
            waiting.start()
            while not self.others_have(file):
                pass
            os.rename(self.folder / "copy.sqlite", file)
        waiting.join()
        status, _, errors = starting[0]
        self.assertEqual((status, "another was put in its place" in errors), (1, True), errors)

    def others_have(self, file):
        """Whether another process has opened it."""
        for link in pathlib.Path("/proc").glob("[0-9]*/fd/*"):
            with contextlib.suppress(OSError):
                if os.readlink(link) == file and f"/{os.getpid()}/" not in str(link):
                    return True
        return False

    def test_what_is_no_sound_backup_replaces_nothing(self):
        server = self.serving()
        seat = server.circle()
        for number in range(50):
            server.send(seat, f"beam {number} " * 500)
        server.end()
        self.command("backup", self.folder / "good.sqlite")
        good = (self.folder / "good.sqlite").read_bytes()
        damaged = bytearray(good)
        damaged[len(good) // 2:len(good) // 2 + 4096] = b"\xff" * 4096
        sqlite3.connect(self.folder / "strange.sqlite").execute("CREATE TABLE x (y)")
        newer = self.folder / "newer.sqlite"
        newer.write_bytes(good)
        sqlite3.connect(newer).execute("PRAGMA user_version = 999")
        (self.folder / "damaged.sqlite").write_bytes(damaged)
        (self.folder / "short.sqlite").write_bytes(good[:len(good) // 2])
        (self.folder / "empty.sqlite").write_bytes(b"")
        for name in ("damaged", "short", "empty", "strange", "newer", "missing"):
            with self.subTest(name=name):
                status, output, errors = self.run_server(
                    "restore", self.folder / f"{name}.sqlite", "--database", self.database)
                self.assertEqual((status, output, len(errors.splitlines())), (1, "", 1))
                self.assertEqual(len(self.bodies_of(self.database)), 50)
                self.assertEqual(list(self.folder.glob("*.restored*")), [])
        self.database = self.new_database()  # where there is nothing yet, it is put there
        self.assertNotIn("is kept", self.command("restore", self.folder / "good.sqlite"))
        self.assertEqual(len(self.bodies_of(self.database)), 50)

    def test_a_server_makes_copies_by_itself_and_keeps_the_latest(self):
        place = self.folder / "copies"
        place.mkdir()
        (place / "kivolo-of-somebody.sqlite").write_text("stays")
        (place / "kivolo.part").write_text("left by one that was killed")
        server = self.serving("--backup-directory", str(place), "--backup-every", "0.0003",
                              "--backup-keep", "2")
        server.send(server.circle(), "kept")
        seen, deadline = set(), time.monotonic() + 60
        while len(seen) < 4:
            self.assertLess(time.monotonic(), deadline)
            seen |= {file.name for file in place.glob("kivolo-2*Z.sqlite")}
            time.sleep(0.01)
        server.end()
        left = sorted(file.name for file in place.glob("kivolo-2*Z.sqlite"))
        self.assertEqual(len(left), 2)
        self.assertEqual(left, sorted(seen | set(left))[-2:])
        self.assertEqual(self.bodies(place / left[-1]), ["kept"])
        self.assertTrue((place / "kivolo-of-somebody.sqlite").exists())
        self.assertFalse((place / "kivolo.part").exists())


unittest.main()
