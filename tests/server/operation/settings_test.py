"""Where settings come from, and what is said about those that cannot be used."""

import re
import sqlite3
import subprocess
import unittest
import unittest.mock

import stage


class Settings(stage.OperationTest):
    def test_flags_count_before_the_environment_and_that_before_the_file(self):
        file = self.write("file.toml", 'max-seats = 2\nlisten = ["127.0.0.1:0", "127.0.0.1:0"]\n')
        for expected, arguments, environment in (
            (5, [], {}),
            (2, ["--config", file], {}),
            (2, [], {"KIVOLO_CONFIG": file}),
            (3, ["--config", file], {"KIVOLO_MAX_SEATS": "3"}),
            (4, ["--config", file, "--max-seats", "4"], {"KIVOLO_MAX_SEATS": "3"}),
        ):
            with self.subTest(expected=expected, environment=environment):
                with unittest.mock.patch.dict("os.environ", environment):
                    server = self.serving(*arguments)
                made = server.post("/circle/create", device_id="ana")
                self.assertEqual(made["max_seats"], expected)
                server.end()

    def openssl(self, *arguments):
        """Makes a file, and gives its name, which is the last argument."""
        subprocess.run(["openssl", *arguments], check=True, capture_output=True)
        return arguments[-1]

    def certificate(self, name):
        key = str(self.folder / f"{name}.key")
        return self.openssl("req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
                            "-nodes", "-subj", "/CN=x", "-keyout", key, "-out",
                            str(self.folder / f"{name}.crt")), key

    def test_check_names_what_cannot_be_used_and_changes_nothing(self):
        certificate, key = self.certificate("good")
        other, its_key = self.certificate("other")
        old, rsa, locked = (str(self.folder / name) for name in ("old.crt", "rsa.key", "locked.key"))
        self.openssl("x509", "-in", other, "-signkey", its_key, "-days", "-1", "-out", old)
        self.openssl("genpkey", "-algorithm", "RSA", "-out", rsa)
        self.openssl("pkey", "-in", key, "-aes128", "-passout", "pass:secret", "-out", locked)
        sqlite3.connect(self.folder / "strange.sqlite").execute("CREATE TABLE x (y)")
        self.write("text.sqlite", "not a database")
        tls = ["--tls-cert", certificate, "--tls-key"]
        for arguments, file, sentence in (
            ([], "", "the settings can be used"),
            ([*tls, key], "", "the settings can be used"),
            (["--bogus"], "", "--bogus"),
            (["--circle-quota", "much"], "", "--circle-quota"),
            (["--database-quota", "9EB"], "", "--database-quota"),
            (["--disk-reserve", "-1"], "", "--disk-reserve"),
            (["--hold", "46"], "", "--hold"),
            (["--idle-seat", "0"], "", "--idle-seat"),
            (["--max-seats", "0"], "", "--max-seats"),
            ([], "max-seats = 900", "--max-seats: Value 900 not in range"),
            ([], "hold = \"long\"", "--hold"),
            ([], "maxseats = 3", '"maxseats", and there is no such setting'),
            ([], "[listen]\nport = 3", '"listen", and there is no such setting'),
            ([], "config = \"x\"", '"config", and there is no such setting'),
            ([], "tls-cert = \"x\"", "--tls-cert requires --tls-key"),
            (["--config", "/nowhere"], None, "/nowhere was not readable"),
            (["--listen", "nonsense"], "", "HOST:PORT"),
            (["--trusted-proxy", "0.0.0.0/0"], "", "a trusted proxy has to be"),
            (["--tls-cert", "/nowhere", "--tls-key", key], "",
             "the certificate /nowhere cannot be read: No such file"),
            ([*tls, self.folder], "", "cannot be read: Is a directory"),
            (["--tls-cert", key, "--tls-key", key], "", f"the certificate {key} cannot be used: "),
            ([*tls, certificate], "", f"the key {certificate} cannot be used"),
            ([*tls, its_key], "", "does not belong to the certificate"),
            ([*tls, rsa], "", "does not belong to the certificate"),
            ([*tls, locked], "", "is protected by a passphrase"),
            (["--tls-cert", old, "--tls-key", its_key], "", "has expired"),
            (["--site", "/nowhere"], "", "/nowhere cannot be opened"),
            (["--database", "mysql:x"], "", "sqlite:PATH"),
            (["--database", "sqlite:/nowhere/x"], "", "nothing can be written into its folder"),
            (["--database", f"sqlite:{self.folder}/strange.sqlite"], "", "of another program"),
            (["--database", f"sqlite:{self.folder}/text.sqlite"], "", "file is not a database"),
        ):
            with self.subTest(arguments=arguments, file=file):
                # One that does not name a database has one that does not exist yet.
                chosen = [] if "--database" in arguments else ["--database", self.database]
                if file is not None:
                    chosen += ["--config", self.write("settings.toml", file)]
                before = sorted(self.folder.iterdir())
                status, output, errors = self.run_server("check", *chosen, *arguments)
                self.assertIn(sentence, output + errors)
                self.assertEqual(status == 0, "can be used" in sentence, errors)
                self.assertEqual(len((output + errors).splitlines()), 1)
                self.assertEqual(sorted(self.folder.iterdir()), before)

    def test_check_passes_beside_a_server_and_after_it(self):
        self.database = f"sqlite:{self.folder}/a b=c.sqlite"
        server = self.serving()
        server.send(server.circle(), "kept")
        self.assertTrue((self.folder / "a b=c.sqlite").exists())
        self.assertEqual(self.command("check"), "the settings can be used\n")
        for listen, database, sentence in (
            (server.address, self.database, "in use"),
            ("127.0.0.1:0", "mysql:x", "sqlite:PATH or postgresql://"),
        ):
            status, _, errors = self.run_server("--listen", listen, "--database", database)
            self.assertEqual((status, sentence in errors), (1, True), errors)
        server.end()
        self.assertEqual(self.command("check"), "the settings can be used\n")

    def test_the_table_of_settings_and_the_help_name_the_same(self):
        _, help_text, _ = self.run_server("--help")
        offered = set(re.findall(r"^  (--[a-z-]+)", help_text, re.M)) - {"--version"}
        table = (stage.ROOT / "docs/operating.md").read_text()
        told = set(re.findall(r"`(--[a-z-]+)`", "\n".join(
            line.split("|")[1] for line in table.splitlines() if line.startswith("| `--"))))
        self.assertEqual(offered, told)


unittest.main()
