#!/usr/bin/env python3
"""Runs `pathwright bridge-check` against a server this script starts, and checks the outcome: the exit
status, and exactly which cases failed (and which were skipped). The server must say
"listening on 127.0.0.1:PORT" on stderr; it is started with --port 0 and stopped afterwards.

    run_bridge_check.py PATHWRIGHT [--fail CASE]... [--skip CASE]... [--exit N] -- SERVER ARGS...
    run_bridge_check.py PATHWRIGHT --exit 2 --listen-silently
"""

import argparse
import json
import re
import socket
import subprocess
import sys
import threading
import time

STARTUP_SECONDS = 30      # the longest wait for the server to say where it listens
CHECK_SECONDS = 300       # the longest a whole bridge-check may take


def start_server(command):
    server = subprocess.Popen(command + ["--port", "0"], stderr=subprocess.PIPE, text=True)
    deadline = time.monotonic() + STARTUP_SECONDS
    found = {}

    def read():
        for line in server.stderr:
            match = re.search(r"listening on 127\.0\.0\.1:(\d+)", line)
            if match and "port" not in found:
                found["port"] = int(match.group(1))
    threading.Thread(target=read, daemon=True).start()
    while "port" not in found:
        if time.monotonic() > deadline or server.poll() is not None:
            server.kill()
            sys.exit("the server did not say where it listens: %s" % " ".join(command))
        time.sleep(0.05)
    return server, found["port"]


def silent_listener():
    """A server that accepts connections and never answers: a bridge that does not greet."""
    listener = socket.create_server(("127.0.0.1", 0))
    held = []
    threading.Thread(target=lambda: held.extend(iter(lambda: listener.accept()[0], None)), daemon=True).start()
    return listener.getsockname()[1]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("pathwright")
    parser.add_argument("--fail", action="append", default=[], help="a case expected to fail")
    parser.add_argument("--skip", action="append", default=[], help="a case expected to be skipped")
    parser.add_argument("--exit", type=int, default=0, help="the expected exit status")
    parser.add_argument("--listen-silently", action="store_true", help="check against a server that never answers")
    parser.add_argument("--nothing-listening", action="store_true", help="check against a closed port")
    arguments = sys.argv[1:]
    split = arguments.index("--") if "--" in arguments else len(arguments)
    options = parser.parse_args(arguments[:split])
    options.server = arguments[split + 1:]

    server = None
    if options.listen_silently:
        port = silent_listener()
    elif options.nothing_listening:
        # A port held bound but not listening: connections are refused, and nobody else can take it.
        taken = socket.socket()
        taken.bind(("127.0.0.1", 0))
        port = taken.getsockname()[1]
    else:
        server, port = start_server(options.server)
    try:
        run = subprocess.run([options.pathwright, "bridge-check", "127.0.0.1:%d" % port, "--format", "json",
                              "--no-latency", "--timeout", "15"],
                             capture_output=True, text=True, timeout=CHECK_SECONDS)
    finally:
        if server is not None:
            server.terminate()
            server.wait()
    report = json.loads(run.stdout)
    failed = sorted(c["name"] for c in report["cases"] if c["result"] == "FAIL")
    skipped = sorted(c["name"] for c in report["cases"] if c["result"] == "skip")
    problems = []
    if run.returncode != options.exit:
        problems.append("exit status %d, expected %d" % (run.returncode, options.exit))
    if failed != sorted(options.fail):
        problems.append("failed %s, expected %s" % (failed, sorted(options.fail)))
    if skipped != sorted(options.skip):
        problems.append("skipped %s, expected %s" % (skipped, sorted(options.skip)))
    if problems:
        print(run.stdout + run.stderr)
        sys.exit("; ".join(problems))
    print("as expected: %d cases, failed %s, skipped %s, exit %d" % (len(report["cases"]), failed, skipped,
                                                                     run.returncode))


if __name__ == "__main__":
    main()
