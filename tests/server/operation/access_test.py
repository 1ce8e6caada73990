"""Who may start circles, which programs are served, and what the log says of all of it."""

import json
import re
import unittest
import unittest.mock

import stage


# "1.3-beta" counts as 1.0 in the eyes of the programs themselves.
VERSIONS = ["", "0", "0.0.1", "0.1", "junk", "1.2", "1.2.0", "1.2.8", "1.2.9", "1.2.10", "1.3-beta",
            "2"]


class Access(stage.OperationTest):
    def test_where_nobody_may_create_only_the_command_makes_circles(self):
        server = self.serving("--who-may-create", "nobody")
        refused = server.post("/circle/create", device_id="ana")
        self.assertEqual(refused.status, 403)
        code = self.command("create-circle", "--max-seats", "2").strip()
        self.assertRegex(code, "^[A-Z2-9]{8}$")
        self.assertEqual([server.join(code, device).status for device in ("ana", "ben", "eve")],
                         [200, 200, 409])

    def test_programs_that_are_too_old_are_told_where_a_newer_one_is(self):
        site = self.folder / "site"
        self.write("site/version.json",
                   json.dumps({"version": "1.2.10", "url": "https://example.org/new"}))
        for arguments, served, url in (
            (["--site", ""], VERSIONS, None),
            (["--site", site, "--min-version", "1.2.9"],
             ["", "1.2.9", "1.2.10", "2"], "https://example.org/new"),
            (["--site", site, "--min-version", "1.2", "--update-url", "https://example.org/x"],
             ["", "1.2", "1.2.0", "1.2.8", "1.2.9", "1.2.10", "2"], "https://example.org/x"),
            (["--site", "", "--min-version", "0.0.1"],
             [version for version in VERSIONS if version not in ("0", "junk")], None),
        ):
            with self.subTest(arguments=arguments):
                server = self.serving(*map(str, arguments))
                for version in VERSIONS:
                    said = {"X-Kivolo-Version": version} if version else {}
                    answer = server.get("/me?device_id=ana", **said)
                    self.assertEqual(answer.status, 200 if version in served else 426, version)
                    if answer.status == 426:
                        self.assertEqual(json.loads(answer.body).get("url"), url)
                        self.assertIn("too old", answer["error"])
                if url:
                    # What they need to get a newer one stays there for them.
                    self.assertEqual(server.get("/version.json", **{"X-Kivolo-Version": "0"})
                                     .status, 200)
                server.end()
        for version, where, sentence in (
            ("1.2.11", site, "newest that the site offers is 1.2.10"),
            ("99", "", "newest that is known of is"),
            ("l.2", site, "in numbers"),
            ("1..2", site, "in numbers"),
            ("1.2.", site, "in numbers"),
        ):
            for command in ([], ["check"]):
                status, _, errors = self.run_server(
                    *command, "--listen", "127.0.0.1:0", "--database", self.database,
                    "--min-version", version, "--site", where)
                self.assertEqual((status, sentence in errors), (1, True), errors)

    def test_no_line_of_the_log_holds_what_only_members_may_know(self):
        with unittest.mock.patch.dict("os.environ", {"SPDLOG_LEVEL": "debug"}):
            server = self.serving("--circle-quota", "1MB")
        seat = server.circle("ana-device")
        server.send(seat, "a secret")
        beam = server.send(seat, "for later", open_at=4_000_000_000)
        server.poll(seat)
        server.get(f"/capsule?id={beam.body[:8]}&circle_id={seat['circle_id']}")
        server.post("/beam", circle_id=seat["circle_id"], from_member=seat["member_id"],
                    type="doodle", body="data:image/png;base64,iVBORw0KGgo" + "A" * 2_000_001)
        for _ in range(80):
            guess = server.join("AAAAAAAA", "eve-device")
        self.assertEqual((guess.status, guess.headers["Retry-After"]), (429, "1"))
        log = server.end()
        lines = log.splitlines()
        self.assertGreater(len(lines), 80)
        for line in lines:
            self.assertRegex(line, r'^time=\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z level=[a-z]+ '
                                   r'msg="([^"\\]|\\.)*"( [a-z]+=\S+)*$')
        self.assertIn(' msg="a request was answered" method=POST path=/join status=200\n', log)
        for secret in ("ana-device", "eve-device", "a secret", "for later", "AAAAAAAA",
                       seat["circle_id"], seat["member_id"], seat["code"]):
            self.assertNotIn(secret, log)


unittest.main()
