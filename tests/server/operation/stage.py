"""The program kivolo-server as operators use it: its commands, and a server to talk to."""

import contextlib
import http.client
import itertools
import json
import os
import pathlib
import re
import signal
import sqlite3
import subprocess
import tempfile
import unittest

# Where these tests are to be about PostgreSQL: what is there to make databases in.
POSTGRES = os.environ.get("KIVOLO_TEST_POSTGRES")
SERVER = os.environ["KIVOLO_SERVER_PROGRAM"]
ROOT = pathlib.Path(__file__).resolve().parents[3]


class Answer:
    def __init__(self, response):
        self.status = response.status
        self.headers = response.headers
        self.body = response.read().decode()

    def __getitem__(self, key):
        return json.loads(self.body)[key]


def ask(address, method, path, body=None, headers=None):
    """One request to HOST:PORT; the body is sent as JSON."""
    connection = http.client.HTTPConnection(address, timeout=30)
    with contextlib.closing(connection):
        text = None if body is None else json.dumps(body)
        kind = {} if body is None else {"Content-Type": "application/json"}
        connection.request(method, path, text, kind | (headers or {}))
        return Answer(connection.getresponse())


class Server:
    """Listens on a free port of this machine; ends with the test."""

    def __init__(self, *arguments):
        self.process = subprocess.Popen(
            [SERVER, "--listen", "127.0.0.1:0", *arguments], stdout=subprocess.PIPE,
            stderr=subprocess.PIPE, text=True)
        self.address = self.told(r"listening on http://(\S+)")

    def told(self, pattern):
        line = self.process.stdout.readline()
        match = re.fullmatch(pattern, line.rstrip("\n"))
        if not match:
            self.process.kill()
            raise AssertionError(f"{line!r} is not {pattern}: {self.process.communicate()[1]}")
        return match[1]

    def get(self, path, **headers):
        return ask(self.address, "GET", path, headers=headers)

    def post(self, path, **body):
        return ask(self.address, "POST", path, body)

    def join(self, code, device, handle="Ana"):
        return self.post("/join", code=code, handle=handle, device_id=device)

    def circle(self, device="ana"):
        """Founds one and gives its first member's seat."""
        return self.join(self.post("/circle/create", device_id=device)["code"], device)

    def send(self, seat, body, **more):
        return self.post("/beam", circle_id=seat["circle_id"], from_member=seat["member_id"],
                         type="text", body=body, **more)

    def poll(self, seat, since=0):
        return self.get(f"/beams?circle_id={seat['circle_id']}&member_id={seat['member_id']}"
                        f"&since={since}")

    def end(self):
        """What it logged."""
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
        log = self.process.communicate(timeout=30)[1]
        if self.process.returncode != 0:
            raise AssertionError(f"the server ended with {self.process.returncode}: {log}")
        return log


class OperationTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.database = self.new_database()

    numbers_of_databases = itertools.count(1)

    def new_database(self):
        number = next(self.numbers_of_databases)
        if not POSTGRES:
            return f"sqlite:{self.folder / f'kivolo{number}.sqlite'}"
        self.sql(f"CREATE DATABASE kivolo{number} TEMPLATE template0", POSTGRES)
        return POSTGRES.replace("/postgres?", f"/kivolo{number}?")

    def sql(self, statement, database=None):
        """Changes a database behind the server's back."""
        database = database or self.database
        if POSTGRES:
            subprocess.run(["psql", "-qc", statement, database], check=True)
        else:
            with contextlib.closing(sqlite3.connect(database.partition(":")[2])) as connection:
                connection.execute(statement)
                connection.commit()

    def run_server(self, *arguments, environment=None):
        """What a command prints, with where that was: its exit status, its output, its errors."""
        done = subprocess.run([SERVER, *map(str, arguments)], capture_output=True, text=True,
                              timeout=60, env=os.environ | (environment or {}))
        return done.returncode, done.stdout, done.stderr

    def command(self, *arguments):
        """The output of a command that has to succeed."""
        status, output, errors = self.run_server(*arguments, "--database", self.database)
        self.assertEqual(status, 0, errors)
        return output

    def serving(self, *arguments):
        rates = [] if "--rates" in arguments else ["--rates", "1000000"]
        server = Server("--database", self.database, *rates, *arguments)
        self.addCleanup(server.process.stderr.close)
        self.addCleanup(server.process.stdout.close)
        self.addCleanup(server.process.wait)
        self.addCleanup(server.process.kill)
        return server

    def serving_with_desk(self, *arguments):
        server = self.serving("--operator-listen", "127.0.0.1:0", *arguments)
        address = server.told(r"for the operator on http://(\S+)")
        return server, lambda path: ask(address, "GET", path)

    def numbers(self, desk):
        """By name and labels, as they stand in the text."""
        answer = desk("/metrics")
        self.assertEqual(answer.headers["Content-Type"],
                         "text/plain; version=0.0.4; charset=utf-8")
        return {name: float(value) for name, value in
                re.findall(r"^([a-z_]+(?:\{[^}]*\})?) (\S+)$", answer.body, re.M)}

    def write(self, name, text):
        path = self.folder / name
        path.parent.mkdir(exist_ok=True)
        path.write_text(text)
        return str(path)
