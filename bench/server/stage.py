"""What the server's benchmarks have in common: databases, servers beside each other, wrk."""

import contextlib
import os
import re
import resource
import shutil
import signal
import socket
import sqlite3
import statistics
import subprocess
import sys
import tempfile
import time

START = 1_700_000_000  # when the circles were made
LAST_TICK = START + 1_000_000  # of every circle, and so the `since` of a poll that finds nothing


def cores():
    """The one that is measured and the one for the load."""
    found = sorted(os.sched_getaffinity(0))
    if len(found) < 2:
        sys.exit("two cores are needed: one to be measured, one for the load")
    return found[0], found[1]


def descriptors():
    """As many connections as a process can have."""
    return resource.getrlimit(resource.RLIMIT_NOFILE)[1] - 100


def make_database(server, path, circles, beams):
    """Circles of two members each; the beams are spread evenly and are all the first member's.

    The server makes the tables, so that they are the ones it would have; then they are filled.
    """
    process, _ = start_server(server, path)
    stop(process)
    now = int(time.time())
    database = sqlite3.connect(path)
    database.execute("PRAGMA synchronous = OFF")
    database.executemany(
        "INSERT INTO circle (number, code, max_seats, owner_email, founder, founder_key,"
        " created_at, tick, sender) VALUES (?, ?, 5, '', '', '', ?, ?, ?)",
        ((n, f"C{n:07d}", START, LAST_TICK, 2 * n - 1) for n in range(1, circles + 1)),
    )
    database.executemany(
        "INSERT INTO member (number, key, id, circle, device_id, handle, emoji, joined_at, seen)"
        " VALUES (?, ?, ?, ?, ?, 'Somebody', '\U0001f49c', ?, ?)",
        ((m, f"{m:032x}", f"{m:032x}", (m + 1) // 2, f"device-{m}", START, now)
         for m in range(1, 2 * circles + 1)),
    )
    each = beams // circles
    database.executemany(
        "INSERT INTO beam (number, id, circle, tick, created_at, sender, bytes, type, from_member,"
        " from_handle, from_emoji, body)"
        " VALUES (?, ?, ?, ?, ?, ?, 400, 'text', ?, 'Somebody', '\U0001f49c', ?)",
        (
            (b, f"{b:032x}", c, LAST_TICK - (each * circles - b) // circles, START,
             2 * c - 1, f"{2 * c - 1:032x}", "Lunch? " * 12)
            for b, c in ((i, (i - 1) % circles + 1) for i in range(1, each * circles + 1))
        ),
    )
    database.commit()
    database.execute("PRAGMA wal_checkpoint(TRUNCATE)")
    database.close()


@contextlib.contextmanager
def postgres():
    """A PostgreSQL with its disk's real waits: its process and its database's address."""
    with socket.create_server(("127.0.0.1", 0)) as probe:
        port = probe.getsockname()[1]
    programs = subprocess.check_output(["pg_config", "--bindir"], text=True).strip()
    as_user = ["setpriv", "--reuid=postgres", "--regid=postgres", "--clear-groups"]
    with tempfile.TemporaryDirectory(prefix="kivolo-bench-", dir="/var/tmp") as folder:
        shutil.chown(folder, "postgres")
        data = folder + "/data"
        subprocess.run([*as_user, programs + "/initdb", "-D", data, "-A", "trust", "-U", "kivolo",
                        "-E", "UTF8", "--locale=C.UTF-8"], check=True, stdout=subprocess.DEVNULL)
        process = subprocess.Popen([*as_user, programs + "/postgres", "-D", data, "-k", folder,
                                    "-c", f"port={port}"], stderr=subprocess.DEVNULL)
        try:
            while subprocess.run([programs + "/pg_isready", "-q", "-h", "127.0.0.1", "-p",
                                  str(port)], check=False).returncode != 0:
                time.sleep(0.05)
            yield process, f"postgresql://kivolo@127.0.0.1:{port}/postgres"
        finally:
            process.send_signal(signal.SIGINT)  # at once, whoever is connected
            process.wait()


def fill_postgres(server, address, circles, beams):
    """What make_database() makes, in numbers of that engine's."""
    process, _ = start_server(server, address)
    stop(process)
    code, key = "'C' || lpad(n::text, 7, '0')", "lpad(to_hex(m), 32, '0')"
    sender = "lpad(to_hex(2 * c - 1), 32, '0')"
    each = beams // circles
    subprocess.run(["psql", "-q", "-v", "ON_ERROR_STOP=1", address], check=True, text=True, input=f"""
        INSERT INTO circle (number, code, max_seats, owner_email, founder, founder_key, created_at,
          tick, sender, regrouped)
          SELECT n, {code}, 5, '', '', '', {START}, {LAST_TICK}, 1, 2
          FROM generate_series(1, {circles}) n;
        SELECT setval('circle_number', {circles}) \g /dev/null
        INSERT INTO member (circle, number, key, id, device_id, handle, emoji, joined_at, seen)
          SELECT (m + 1) / 2, 2 - m % 2, {key}, {key}, 'device-' || m, 'Somebody',
            '\U0001f49c', {START}, {int(time.time())}
          FROM generate_series(1, {2 * circles}) m;
        INSERT INTO beam (circle, tick, id, created_at, sender, bytes, type, from_member,
          from_handle, from_emoji, body)
          SELECT c, {LAST_TICK} - b, md5(c || ' ' || b), {START}, 1, 400, 'text', {sender},
            'Somebody', '\U0001f49c', repeat('Lunch? ', 12)
          FROM generate_series(1, {circles}) c, generate_series(0, {each - 1}) b;
        VACUUM ANALYZE;
        CHECKPOINT""")
    os.sync()


def start_server(server, database, *options, core=None):
    """The process and where it listens. One address may ask for as much as all of them."""
    pinned = [] if core is None else ["taskset", "-c", str(core)]
    if "://" not in database:
        database = f"sqlite:{database}"
    process = subprocess.Popen(
        [*pinned, server, "--rates", "1000000", "--connections-per-address", str(descriptors()),
         "--listen", "127.0.0.1:0", "--site", "none", "--database", database, *options],
        stdout=subprocess.PIPE, text=True, env={**os.environ, "SPDLOG_LEVEL": "warn"})
    line = process.stdout.readline()
    match = re.fullmatch(r"listening on (https?://\S+)\n", line)
    if not match:
        sys.exit(f"the server did not start: {line!r}")
    return process, match[1]


def start_nginx(folder, core, body):
    """One worker that answers everything with that body: the process, the worker's id, where."""
    port = 18_000 + os.getpid() % 1_000
    config = os.path.join(folder, "nginx.conf")
    with open(config, "w", encoding="utf-8") as file:
        file.write(f"""
            daemon off; master_process off; pid {folder}/nginx.pid; error_log {folder}/error.log;
            events {{ worker_connections 1024; }}
            http {{ access_log off; keepalive_requests 100000000;
                client_body_temp_path {folder}/b; proxy_temp_path {folder}/p;
                fastcgi_temp_path {folder}/f; uwsgi_temp_path {folder}/u; scgi_temp_path {folder}/s;
                server {{ listen 127.0.0.1:{port}; location / {{
                    default_type application/json; return 200 '{body}'; }} }} }}""")
    nginx = shutil.which("nginx") or "/usr/sbin/nginx"
    process = subprocess.Popen(["taskset", "-c", str(core), nginx, "-p", folder, "-c", config])
    time.sleep(0.5)
    return process, f"http://127.0.0.1:{port}"


def stop(process):
    process.send_signal(signal.SIGTERM)
    if process.wait(timeout=30) not in (0, -signal.SIGTERM):
        sys.exit("a server did not end cleanly")


@contextlib.contextmanager
def running(started):
    """Of what one of the two above has started."""
    process, url = started
    try:
        yield process, url
    finally:
        stop(process)


def children(pid):
    with open(f"/proc/{pid}/task/{pid}/children", encoding="utf-8") as file:
        return {int(child) for child in file.read().split()}


def processor_seconds(pid, fields=(11, 12)):
    with open(f"/proc/{pid}/stat", encoding="utf-8") as file:
        found = file.read().rsplit(")", 1)[1].split()
    return sum(int(found[field]) for field in fields) / os.sysconf("SC_CLK_TCK")


def seconds_of_postgres(postmaster):
    """Of the processor, of all its processes, those that have ended included."""
    seconds = 0
    for pid in children(postmaster.pid):
        with contextlib.suppress(FileNotFoundError, ProcessLookupError):  # it has just ended
            seconds += processor_seconds(pid)
    return seconds + processor_seconds(postmaster.pid, (11, 12, 13, 14))


def load(url, script, core, seconds, connections):
    """Has wrk ask what the script says: requests a second. Every reply has to be a 200."""
    pinned = [] if core is None else ["taskset", "-c", str(core)]
    output = subprocess.run(
        [*pinned, "wrk", "-t1", f"-c{connections}", f"-d{seconds}s", "--timeout", "10s",
         "-s", script, url], check=True, capture_output=True, text=True).stdout
    if "Non-2xx" in output or "Socket errors" in output:
        sys.exit(f"not every request was answered:\n{output}")
    return float(re.search(r"Requests/sec:\s+([\d.]+)", output)[1])


def median(values):
    return statistics.median(values)


def percentile(values, share):
    ordered = sorted(values)
    return ordered[min(len(ordered) - 1, int(share * len(ordered)))]
