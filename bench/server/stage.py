"""What the server's benchmarks have in common: databases, servers beside each other, wrk."""

import contextlib
import os
import re
import resource
import shutil
import signal
import sqlite3
import statistics
import subprocess
import sys
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


def start_server(server, path, *options, core=None):
    """The process and where it listens. One address may ask for as much as all of them."""
    pinned = [] if core is None else ["taskset", "-c", str(core)]
    process = subprocess.Popen(
        [*pinned, server, "--rates", "1000000", "--connections-per-address", str(descriptors()),
         "--listen", "127.0.0.1:0", "--database", f"sqlite:{path}", *options],
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


def processor_seconds(pid):
    with open(f"/proc/{pid}/stat", encoding="utf-8") as file:
        fields = file.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def load(url, script, core, seconds, connections):
    """Has wrk ask what the script says: requests a second. Every reply has to be a 200."""
    output = subprocess.run(
        ["taskset", "-c", str(core), "wrk", "-t1", f"-c{connections}", f"-d{seconds}s",
         "-s", script, url], check=True, capture_output=True, text=True).stdout
    if "Non-2xx" in output or "Socket errors" in output:
        sys.exit(f"not every request was answered:\n{output}")
    return float(re.search(r"Requests/sec:\s+([\d.]+)", output)[1])


def median(values):
    return statistics.median(values)


def percentile(values, share):
    ordered = sorted(values)
    return ordered[min(len(ordered) - 1, int(share * len(ordered)))]
