"""The description of the wire, held against a server with requests that are made from it."""

import json
import time
import unittest
import urllib.parse

import jsonschema
import yaml

import stage

DESCRIPTION = yaml.safe_load((stage.ROOT / "docs/openapi.yaml").read_text())
OPERATIONS = {operation["operationId"]: (method.upper(), path, operation)
              for path, methods in DESCRIPTION["paths"].items()
              for method, operation in methods.items()}


def at(reference):
    """What a reference means."""
    part = DESCRIPTION
    for step in reference.split("/")[1:]:
        part = part[step]
    return part


def keys(value):
    """Of all objects in it."""
    if isinstance(value, list):
        return set().union(*map(keys, value))
    if not isinstance(value, dict):
        return set()
    return set(value).union(*map(keys, value.values()))


class OpenApi(stage.OperationTest):
    def parameters(self, name):
        """What an operation takes: the names of all, and of those that have to be there."""
        operation = OPERATIONS[name][2]
        if "requestBody" in operation:
            schema = operation["requestBody"]["content"]["application/json"]["schema"]
            return set(schema["properties"]), set(schema["required"])
        found = operation["parameters"]
        return {one["name"] for one in found}, {one["name"] for one in found if one["required"]}

    def ask(self, server, name, values, headers):
        method, path, _ = OPERATIONS[name]
        if method == "GET":
            path += "?" + "&".join(f"{key}={urllib.parse.quote(str(value), safe='')}"
                                   for key, value in values.items())
        return stage.ask(server.address, method, path, values if method == "POST" else None,
                         headers)

    def call(self, server, name, values, status=200, **headers):
        """The answer, of which the description has to know everything."""
        answer = self.ask(server, name, values, headers)
        self.assertEqual(answer.status, status, f"{name} {values} {answer.body}")
        self.check(name, answer)
        return answer

    def check(self, name, answer):
        operation, status = OPERATIONS[name][2], answer.status
        self.assertIn(str(status), operation["responses"], name)
        described = operation["responses"][str(status)]
        described = at(described["$ref"]) if "$ref" in described else described
        schema = described["content"][answer.headers["Content-Type"]]["schema"]
        jsonschema.Draft7Validator({**schema, "components": DESCRIPTION["components"]}).validate(
            json.loads(answer.body))
        self.seen.add((name, status))
        self.said |= keys(json.loads(answer.body))

    def test_every_operation_answers_as_it_is_described(self):
        self.seen, self.said = set(), set()
        server = self.serving()
        call = lambda *arguments, **headers: self.call(server, *arguments, **headers)
        call("me", {"device_id": "ana"})
        made = call("create", {"device_id": "ana", "owner_email": "ana@example.org"})
        ana = call("join", {"code": made["code"], "handle": "Ana", "device_id": "ana",
                            "emoji": "🦊"})
        call("me", {"device_id": "ana"})
        ben = call("join", {"code": made["code"], "handle": "Ben", "device_id": "ben"})
        seat = {"circle_id": ana["circle_id"], "from_member": ana["member_id"]}
        shake = call("send", {**seat, "type": "text", "body": "one", "effect": "shake",
                              "open_at": int(time.time()) + 1})
        call("send", {**seat, "type": "text", "body": "two", "open_at": int(time.time()) + 9_000})
        values = {
            "me": {"device_id": "ana"},
            "create": {"device_id": "ana"},
            "join": {"code": made["code"], "handle": "Ana", "device_id": "ana"},
            "send": {**seat, "type": "text", "body": "three"},
            "poll": {"circle_id": ben["circle_id"], "member_id": ben["member_id"], "since": 0},
            "history": {"circle_id": ben["circle_id"], "limit": 9},
            "capsule": {"id": shake["id"], "circle_id": ben["circle_id"]},
        }
        self.assertEqual(set(values), set(OPERATIONS))
        for name, given in values.items():
            everything, needed = self.parameters(name)
            self.assertLessEqual(set(given), everything, name)
            call(name, {key: value for key, value in given.items() if key in needed})
            for missing in needed:
                call(name, {key: value for key, value in given.items() if key != missing}, 400)
        sealed = [beam for beam in call("poll", values["poll"])["beams"] if beam.get("sealed")]
        for name, changed, status in (
            ("join", {"code": "AAAAAAAA"}, 404),
            ("send", {"circle_id": "0" * 32}, 403),
            ("send", {"type": "sound"}, 400),
            ("send", {"effect": "smoke"}, 400),
            ("send", {"body": "x" * 10_001}, 413),
            ("poll", {"circle_id": "0" * 32}, 403),
            ("poll", {"since": "1.5"}, 400),
            ("history", {"circle_id": "0" * 32}, 403),
            ("history", {"limit": 0}, 400),
            ("history", {"limit": 201}, 400),
            ("capsule", {"id": "0" * 32}, 404),
            ("capsule", {"id": sealed[0]["id"]}, 403),
        ):
            call(name, {**values[name], **changed}, status)
        server.end()
        # The same from servers that are set up to say no.
        old = {"X-Kivolo-Version": "0"}
        for arguments, status, names, changed, headers in (
            (["--min-version", "0.0.1", "--site", "", "--update-url", "https://example.org/"], 426,
             set(OPERATIONS), {}, old),
            (["--who-may-create", "nobody"], 403, {"create"}, {}, {}),
            (["--database-quota", "1KB"], 507, {"create", "send"}, {}, {}),
            (["--max-seats", "1"], 409, {"join"}, {"device_id": "eve"}, {}),
        ):
            server = self.serving(*arguments)
            if status == 409:
                code = server.circle("only")["code"]
                changed = {**changed, "code": code}
            for name in names:
                self.call(server, name, {**values[name], **changed}, status, **headers)
            server.end()
        described = {(name, int(status)) for name, (_, _, operation) in OPERATIONS.items()
                     for status in operation["responses"]}
        # What takes a storm or a broken disk, and what the next lines ask for.
        self.assertEqual({status for _, status in described - self.seen}, {415, 429, 503})
        described = [one for schema in DESCRIPTION["components"]["schemas"].values()
                     for one in [schema, *schema.get("oneOf", [])]]
        self.assertEqual(self.said, {field for one in described
                                     for field in one.get("properties", {})})

    def test_what_is_posted_has_to_be_json_and_too_much_is_told(self):
        self.seen, self.said = set(), set()
        server = self.serving("--rates", "0.1")
        for name, (method, path, operation) in OPERATIONS.items():
            if method == "POST":
                answer = stage.ask(server.address, method, path, {}, {"Content-Type": "text/plain"})
                self.assertEqual((answer.status, "415" in operation["responses"]), (415, True))
        for name in OPERATIONS:
            answers = (self.ask(server, name, {}, {}) for _ in range(10_000))
            self.check(name, next(answer for answer in answers if answer.status == 429))


unittest.main()
