"""What operators do to circles, while a server has them in use and while none does."""

import json
import os
import threading
import time
import unittest

import stage


class Administration(stage.OperationTest):
    def table(self, *arguments):
        """The rows below the first line."""
        return [line.split("\t") for line in self.command(*arguments).splitlines()[1:]]

    def founded(self, server):
        """Ana and Ben in a circle, with three beams of hers, of which one is sealed, and one of his."""
        ana = server.circle("ana")
        ben = server.join(ana["code"], "ben", "Ben")
        server.send(ana, "one")
        server.send(ben, "two")
        server.send(ana, "sealed", open_at=int(time.time()) + 9_000)
        server.send(ana, "four")
        return ana, ben

    def test_what_there_is_is_told_with_and_without_a_server(self):
        server = self.serving()
        self.founded(server)
        server.send(server.circle("eve"), "x" * 9_000)

        def told():
            statistics = dict(line.split("\t") for line in self.command("stats").splitlines())
            return ([row[:3] for row in self.table("circles")], self.table("members", 1),
                    statistics["circles"], statistics["members"])

        beside = told()
        server.end()
        self.assertEqual(beside, told())
        circles, members, *counts = beside
        self.assertEqual(circles, [["2", "1", "5"], ["1", "2", "5"]])  # the largest first
        self.assertEqual([[row[0], row[1], row[3]] for row in members],
                         [["1", "Ana", "3"], ["2", "Ben", "1"]])
        self.assertEqual(counts, ["2", "3"])
        status, _, errors = self.run_server("members", "7", "--database", self.database)
        self.assertEqual((status, errors), (1, "kivolo-server: there is no circle 7\n"))

    def test_what_is_done_to_members_reaches_those_who_wait(self):
        founding = self.serving()
        ana, ben = self.founded(founding)
        eve = founding.circle("eve")
        founding.end()
        server, desk = self.serving_with_desk("--hold", "40")

        def held(seat, command):
            """What a held poll is answered when that is done."""
            since = server.poll(seat)["server_time"] - 1
            answers = []
            waiting = threading.Thread(target=lambda: answers.append(server.poll(seat, since)))
            waiting.start()
            while waiting.is_alive() and self.numbers(desk)["kivolo_held_polls"] == 0:
                pass  # it is not held, and told the same, shortly after a change of members
            started = time.monotonic()
            output = self.command(*command)
            waiting.join()
            self.assertLess(time.monotonic() - started, 20, "it was told when its time was over")
            return answers[0].status, output

        self.assertEqual(held(ben, ["remove-member", 1, 2])[0], 403)
        self.assertEqual(server.send(ben, "again").status, 403)
        self.assertEqual(len(server.poll(ana)["beams"]), 1, "what he has sent stays")
        status, code = held(ana, ["change-code", 1])
        self.assertEqual(status, 200)
        self.assertEqual(server.get("/me?device_id=ana")["code"], code.strip())
        self.assertEqual(server.join(ana["code"], "ben").status, 404)
        self.assertEqual(server.join(code.strip(), "ben").status, 200)
        self.assertEqual(held(eve, ["delete-circle", 2])[0], 403)
        self.assertEqual(server.get("/me?device_id=eve").body, '{"joined":false}')
        self.assertEqual(server.join(eve["code"], "eve").status, 404)
        self.assertEqual(server.poll(ana).status, 200, "other circles are left alone")
        self.assertEqual([row[0] for row in self.table("circles")], ["1"])

    def test_what_one_device_has_sent_is_told_and_removed(self):
        server = self.serving()
        ana, ben = self.founded(server)
        by_device = self.command("export", "--device", "ana")
        self.assertEqual(by_device, self.command("export", 1, 1))
        beams = [json.loads(line) for line in by_device.splitlines()]
        self.assertEqual([beam["body"] for beam in beams], ["one", "sealed", "four"])
        since = server.poll(ben)["server_time"] - 1
        self.assertEqual(self.command("erase", "--device", "ana"), "3\tbeams were removed\n")
        self.assertEqual(self.command("export", 1, 1), "")
        self.assertEqual([beam["body"] for beam in server.poll(ana)["beams"]], ["two"])
        self.assertEqual([row[3:] for row in self.table("members", 1) if row[1] == "Ana"],
                         [["0", "0"]])
        kept = int(self.table("circles")[0][3])
        self.assertEqual(kept, int(self.table("members", 1)[0][4]), "the circle's bytes are its beams'")
        server.send(ana, "five")  # under a number that was given before
        self.assertEqual([beam["body"] for beam in server.poll(ben, since)["beams"]], ["five"])

    def test_old_beams_and_abandoned_circles_go_and_sealed_capsules_stay(self):
        server = self.serving()
        ana, _ = self.founded(server)
        for _ in range(300):
            server.send(ana, "x" * 9_000)
        server.end()
        self.sql("UPDATE beam SET created_at = created_at - 864000, tick = tick - 864000")
        server = self.serving()
        server.send(ana, "new")
        server.end()
        file = self.database.removeprefix("sqlite:")
        before = stage.POSTGRES or os.path.getsize(file)
        server = self.serving("--keep", "9")
        deadline = time.monotonic() + 60
        while (int(self.table("circles")[0][3]) > 9_000
               or not stage.POSTGRES and os.path.getsize(file) > before / 4):
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.05)
        beams = server.get(f"/history?circle_id={ana['circle_id']}&limit=9")["beams"]
        self.assertEqual([beam["body"] for beam in beams], ["", "new"])
        self.assertEqual(beams[0]["sealed"], 1)
        self.assertEqual(server.poll(ana).status, 200)


unittest.main()
