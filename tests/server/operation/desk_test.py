"""What the server tells those who look after it, on the address that is theirs."""

import re
import sqlite3
import threading
import unittest

import stage


class Desk(stage.OperationTest):
    def test_metrics_count_what_members_do_and_run_into(self):
        # For a while after somebody has joined no poll of the circle is held.
        founding = self.serving()
        seat = founding.circle()
        ben = founding.join(seat["code"], "ben")
        founding.send(ben, "one")
        founding.end()
        server, desk = self.serving_with_desk("--hold", "20", "--circle-quota", "1MB")
        poll = server.poll(seat)
        held = threading.Thread(target=server.poll, args=(seat, poll["server_time"] - 1))
        held.start()
        while self.numbers(desk)["kivolo_held_polls"] != 1:
            self.assertTrue(held.is_alive(), "the poll was not held")
        server.send(ben, "two")
        held.join()
        doodle = "data:image/png;base64,iVBORw0KGgo" + "A" * 2_000_001
        full = server.post("/beam", circle_id=seat["circle_id"], from_member=seat["member_id"],
                           type="doodle", body=doodle)
        for _ in range(80):
            server.join("AAAAAAAA", "eve")
        server.get("/nothing")
        # What the database takes is told by the scrape after the one that asked for it.
        self.numbers(desk)
        found = self.numbers(desk)
        self.assertEqual(full.status, 507)
        for name, expected in (
            ('kivolo_requests_total{endpoint="/beam",status="200"}', 1),
            ('kivolo_requests_total{endpoint="/beam",status="507"}', 1),
            ('kivolo_requests_total{endpoint="/beams",status="200"}', 2),
            ('kivolo_requests_total{endpoint="other",status="404"}', 1),
            ('kivolo_limits_hit_total{limit="circle_quota"}', 1),
            ("kivolo_held_polls", 0),
            ('kivolo_request_seconds_count{endpoint="/beams"}', 2),
            # The second was held for some while, and that is not the server's slowness.
            ('kivolo_request_seconds_bucket{endpoint="/beams",le="10"}', 2),
        ):
            self.assertEqual(found.get(name), expected, name)
        self.assertGreater(found['kivolo_limits_hit_total{limit="codes"}'], 0)
        self.assertGreater(found["kivolo_database_bytes"], 4096)
        self.assertGreater(found["kivolo_disk_free_bytes"], 0)
        self.assertEqual(found['kivolo_database_wait_seconds_count{kind="write"}'], 2)
        self.assertGreater(found['kivolo_database_seconds_count{kind="read"}'], 0)
        table = (stage.ROOT / "docs/operating.md").read_text()
        for name in {re.sub(r"(_sum|_count|_bucket)?(\{.*)?$", "", name) for name in found}:
            self.assertIn(f"`{name}`", table, "every number is explained")

    def test_it_is_ready_only_while_it_can_do_what_it_is_there_for(self):
        first = self.serving()
        first.circle()
        first.end()
        database = sqlite3.connect(self.database.removeprefix("sqlite:"), isolation_level=None)
        self.addCleanup(database.close)
        for before, arguments, after, expected in (
            ("SELECT 1", [], "SELECT 1", "ready\n"),
            ("SELECT 1", ["--disk-reserve", "900TB"], "SELECT 1", "disk: "),
            ("SELECT 1", [], "BEGIN IMMEDIATE", "database: "),
            ("UPDATE circle SET tick = unixepoch() + 9000", [], "SELECT 1", "clock: "),
        ):
            with self.subTest(expected=expected):
                database.execute(before)
                server, desk = self.serving_with_desk(*arguments)
                desk("/metrics")
                database.execute(after)
                answer = desk("/readyz")
                if database.in_transaction:
                    database.execute("ROLLBACK")
                self.assertTrue(answer.body.startswith(expected), answer.body)
                self.assertEqual(answer.status, 200 if expected == "ready\n" else 503)
                self.assertEqual(desk("/healthz").body, "live\n")
                # Members are told nothing of it, and here they have nothing to ask.
                self.assertEqual(server.get("/metrics").status, 404)
                self.assertEqual(desk("/me?device_id=ana").status, 404)
                server.end()


unittest.main()
