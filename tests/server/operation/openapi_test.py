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
              for method, operation in methods.items() if "operationId" in operation}
# What goes without saying.
USUAL_HEADERS = {"Cache-Control", "Connection", "Content-Length", "Content-Type", "Date"}


def meant(part):
    """What a reference means, where it is one."""
    if "$ref" not in part:
        return part
    found = DESCRIPTION
    for step in part["$ref"].split("/")[1:]:
        found = found[step]
    return found


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
        found = DESCRIPTION["paths"][OPERATIONS[name][1]]["parameters"]
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
        self.assertIn(str(answer.status), OPERATIONS[name][2]["responses"], name)
        self.hold(OPERATIONS[name][2], answer)
        self.seen.add((name, answer.status))
        self.said |= keys(json.loads(answer.body))

    def hold(self, operation, answer):
        """An answer against its description: its headers, and its body where that is JSON."""
        described = meant(operation["responses"].get(str(answer.status)) or
                          operation["responses"]["default"])
        headers = {name: meant(header) for name, header in described.get("headers", {}).items()}
        self.assertLessEqual(set(answer.headers) - USUAL_HEADERS, set(headers), answer.status)
        for name, header in headers.items():
            value = answer.headers[name]
            if value is not None and header["schema"]["type"] == "integer":
                value = int(value)
            if value is not None or header.get("required"):
                jsonschema.validate(value, header["schema"])
        kinds = described.get("content", {})
        self.assertEqual(answer.body != "", kinds != {}, answer.status)
        if kinds:
            kind = answer.headers["Content-Type"]
            schema = kinds[kind if kind in kinds else "*/*"]["schema"]
            if kind == "application/json":
                jsonschema.Draft7Validator({**schema, "components": DESCRIPTION["components"]}
                                           ).validate(json.loads(answer.body))

    def hold_head(self, server, path, got):
        """A HEAD is told the same as this GET was, without its body."""
        answer = stage.ask(server.address, "HEAD", path)
        self.assertEqual((answer.status, set(answer.headers) | {"Content-Length"}, answer.body),
                         (got.status, set(got.headers) | {"Content-Length"}, ""), path)

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
            *((name, {}, 200) for name in ("me", "poll", "history", "capsule")),
            ("capsule", {"id": "0" * 32}, 404),
            ("capsule", {"id": sealed[0]["id"]}, 403),
        ):
            given = {**values[name], **changed}
            answer = call(name, given, status)
            if OPERATIONS[name][0] == "GET":
                self.hold_head(server, f"{OPERATIONS[name][1]}?{urllib.parse.urlencode(given)}", answer)
        # What any request can get.
        for headers, status in (({"Transfer-Encoding": "chunked"}, 411),
                                ({"Transfer-Encoding": "gzip"}, 501),
                                ({"Content-Length": "9999999"}, 413), ({"X": "x" * 20_000}, 431)):
            for method, path, operation in OPERATIONS.values():
                answer = stage.ask(server.address, method, path, None, headers)
                self.assertEqual(answer.status, status)
                self.hold(operation, answer)
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
        # Nothing can be looked up any more.
        server = self.serving()
        for file in self.folder.glob("kivolo*.sqlite*"):
            file.unlink()
        while self.ask(server, "me", values["me"], {}).status != 503:
            pass
        for name, given in values.items():
            self.call(server, name, given, 503)
        described = {(name, int(status)) for name, (_, _, operation) in OPERATIONS.items()
                     for status in operation["responses"] if status != "default"}
        # What the next lines ask for.
        self.assertEqual({status for _, status in described - self.seen}, {415, 429})
        described = [one for name, schema in DESCRIPTION["components"]["schemas"].items()
                     if name != "Version" for one in [schema, *schema.get("oneOf", [])]]
        self.assertEqual(self.said, {field for one in described
                                     for field in one.get("properties", {})})

    def test_the_site_answers_as_it_is_described(self):
        part = f"{'of a package':<48}{0:<10}`\n"
        package = self.write("downloads/kivolo_0.2.0_amd64.deb", "!<arch>\n" + 3 * part)
        self.write("site/index.html", "<p>Kivolo</p>")
        self.write("site/a.txt", "a text")
        site = ["--site", str(self.folder / "site"), "--downloads"]
        empty = self.serving(*site, "/nowhere")
        full = self.serving(*site, str(self.folder / "downloads"))
        same, some, none = {"If-None-Match": "*"}, {"Range": "bytes=0-1"}, {"Range": "bytes=999-"}
        there = {"/": "/", "/version.json": "/version.json", "/{file}": "/a.txt",
                 "/downloads/{file}": package[len(str(self.folder)):]}
        seen = set()
        for template, path, server, headers, status in (
            *((template, path, full, headers, status) for template, path in there.items()
              for headers, status in (({}, 200), (same, 304), (some, 206), (none, 416))
              if "{" in template or headers in ({}, same)),
            ("/version.json", "/version.json", empty, {}, 404),
            ("/{file}", "/none", full, {}, 404),
            ("/{file}", "/Kivolo.dmg", full, {}, 302),
            ("/downloads/{file}", "/downloads/none", full, {}, 404),
        ):
            answer = stage.ask(server.address, "GET", path, headers=headers)
            self.assertEqual(answer.status, status, (path, headers))
            self.hold(DESCRIPTION["paths"][template]["get"], answer)
            seen.add((template, str(status)))
            if headers == {}:
                self.hold_head(server, path, answer)
        described = {(template, status) for template, methods in DESCRIPTION["paths"].items()
                     if "operationId" not in methods.get("get", {"operationId": ""})
                     for status in methods["get"]["responses"]}
        self.assertEqual({status for _, status in described - seen}, {"302", "429", "default"})
        # Any other method is told which there are.
        for template, methods in DESCRIPTION["paths"].items():
            answer = stage.ask(full.address, "BREW", there.get(template, template))
            self.assertEqual((answer.status, set(answer.headers["Allow"].split(", "))),
                             (405, {method.upper() for method in methods} - {"PARAMETERS"}))

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
        for template in ("/", "/version.json", "/{file}", "/downloads/{file}"):
            answers = (stage.ask(server.address, "GET", template) for _ in range(10_000))
            self.hold(DESCRIPTION["paths"][template]["get"],
                      next(answer for answer in answers if answer.status == 429))


unittest.main()
