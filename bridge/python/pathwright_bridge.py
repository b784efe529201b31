"""A reference bridge for Pathwright's game link (docs/game-link.md), standard library only.

The module speaks the protocol: it frames lines, checks every request's members, echoes ids, answers
refusals, enforces the line limit, serves each connection on its own thread and hands the game one
request at a time; `link_text.py` beside it writes the numbers. A bridge author subclasses `Game` and fills in what touches the game; everything a
game cannot know is done here. `toy_world.py` beside it shows every function on a small world.

    class MyGame(pathwright_bridge.Game):
        world_name = "my_world"
        def ground_height(self, x, y, z): ...
    pathwright_bridge.serve(MyGame(), port=47800)

Then run `pathwright bridge-check 127.0.0.1:47800` until every case passes.
"""

import json
import math
import os
import socket
import sys
import threading

from link_text import Coordinate, encode, float_text, is_finite_number, is_number, narrowed, point  # noqa: F401

PROTOCOL_VERSION = 1
DEFAULT_PORT = 47800
MAX_LINE_BYTES = 64 << 20  # the longest request line answered; a longer one gets an error answer
READ_CHUNK_BYTES = 256 * 1024

# Faults that the module can be told to make, one at a time, so that bridge-check can be shown to
# catch each: every fault makes exactly one of its cases fail.
FAULTS = {
    "out-of-order": "answers several requests that arrive at once in reverse order",
    "wrong-id": "echoes every id as a whole number",
    "missing-height": "leaves the last height out of a batch of two probes or more",
    "silent-bad-line": "answers nothing to a line that is not JSON",
    "dies-on-close": "ends the process when a connection closes in the middle of a request",
}


class Refusal(Exception):
    """A request the bridge answers with "ok": false and this text."""


class Game:
    """What a bridge author fills in. Every method is called with the bridge's lock held, so a game
    sees one request at a time. Points are (x, y, z) tuples of floats; y is up."""

    world_name = "world"
    bounds = None  # ((low x, y, z), (high x, y, z)) of the whole world, or None

    def ground_height(self, x, y, z):
        """The first surface straight below the probe: (height, None), or (None, note) when there is
        none, the note being "nothing below (X, Z)", "open sea below (X, Z)" or
        "outside the world: (X, Z)" with X and Z written by float_text."""
        raise NotImplementedError

    def ground_heights(self, probes):
        """Heights below many probes at once, [(height or None), ...]; override when the game has a
        faster way than one probe at a time."""
        return [self.ground_height(x, y, z)[0] for x, y, z in probes]

    def link(self):
        """Where Link stands (his feet)."""
        raise NotImplementedError

    def camera(self):
        """Where the camera is."""
        raise NotImplementedError

    def teleport(self, x, y, z):
        """Moves Link to the point as given; the camera follows."""
        raise NotImplementedError

    def load(self, package, document):
        """Takes package `package`'s whole document (replacing an earlier one of that name) and walks
        its actors from now on. Answers how many of them walk. Raise Refusal to refuse it."""
        raise NotImplementedError

    def live_actors(self, package):
        """(time in seconds, [{"id", "position": (x, y, z), "point": n}, ...]) for the walking actors
        of the package, in document order; None when it was never loaded."""
        raise NotImplementedError

    def live_route(self, package, actor):
        """What the game walks for the actor: {"points": [(x, y, z), ...], "mode", "speed",
        "position": (x, y, z), "heading", "target", "state"}, or None when it walks nothing for it."""
        raise NotImplementedError

    def can_advance(self):
        """True when the game's clock is manual, so that "advance" moves it."""
        return False

    def advance(self, seconds):
        """Advances a manual clock by `seconds` (finite, at least 0); answers the new time."""
        raise Refusal("the clock is real: \"advance\" needs a manual clock")


# --- Reading requests -----------------------------------------------------------------------------

def _no_constants(name):
    raise ValueError("%s is not a json number" % name)


def probe_point(request, op):
    coordinates = [narrowed(request.get(axis)) for axis in ("x", "y", "z")]
    if None in coordinates:
        raise Refusal("\"%s\" needs numbers \"x\", \"y\" and \"z\"" % op)
    return tuple(coordinates)


def string_member(request, name, op):
    value = request.get(name)
    if not isinstance(value, str):
        raise Refusal("\"%s\" needs a string \"%s\"" % (op, name))
    return value


# --- One handler per op ---------------------------------------------------------------------------

class Protocol:
    """Turns one request line into one answer line against a Game, holding the lock around the game."""

    def __init__(self, game, fault=None):
        if fault is not None and fault not in FAULTS:
            raise ValueError("unknown fault %r (the faults are %s)" % (fault, ", ".join(FAULTS)))
        self.game = game
        self.fault = fault
        self.lock = threading.Lock()
        self.ops = {
            "hello": self.hello, "ground_height": self.ground_height, "ground_heights": self.ground_heights,
            "link": self.link, "camera": self.camera, "teleport": self.teleport, "load": self.load,
            "live_actors": self.live_actors, "live_route": self.live_route, "advance": self.advance,
        }

    def answer(self, line):
        """The answer text to one request line (bytes, without its newline); None for no answer. Never
        raises: a failure of its own is an answer too."""
        try:
            return self.answer_request(line)
        except Exception as e:
            return encode({"id": None, "ok": False, "error": "the bridge failed: %s" % e})

    def answer_request(self, line):
        if line.endswith(b"\r"):
            line = line[:-1]
        try:
            request = json.loads(line.decode("utf-8"), parse_constant=_no_constants)
        except (UnicodeDecodeError, ValueError, RecursionError) as e:
            if self.fault == "silent-bad-line":
                return None
            return encode({"id": None, "ok": False, "error": "the line is not json: %s" % str(e).lower()})
        if not isinstance(request, dict):
            return encode({"id": None, "ok": False, "error": "a request must be a json object"})
        request_id = request.get("id")
        if not is_finite_number(request_id):
            return encode({"id": None, "ok": False, "error": "a request needs a number \"id\""})
        if self.fault == "wrong-id":
            request_id = int(request_id)
        op = request.get("op")
        if not isinstance(op, str):
            return encode({"id": request_id, "ok": False, "error": "a request needs a string \"op\""})
        handler = self.ops.get(op)
        try:
            if handler is None:
                raise Refusal("unknown op %s" % json.dumps(op))
            with self.lock:
                members = handler(request)
        except Refusal as refusal:
            return encode({"id": request_id, "ok": False, "error": str(refusal)})
        except Exception as e:  # the game's own failure: an answer, never a dead connection
            return encode({"id": request_id, "ok": False, "error": "the game failed on %s: %s" % (json.dumps(op), e)})
        answer = {"id": request_id, "ok": True}
        answer.update(members)
        return encode(answer)

    def hello(self, request):
        members = {"protocol": PROTOCOL_VERSION, "world": self.game.world_name}
        if self.game.bounds is not None:
            members["bounds"] = {"low": point(self.game.bounds[0]), "high": point(self.game.bounds[1])}
        return members

    def ground_height(self, request):
        height, note = self.game.ground_height(*probe_point(request, "ground_height"))
        if height is None:
            return {"found": False, "note": note}
        return {"found": True, "height": Coordinate(height)}

    def ground_heights(self, request):
        if "probes" not in request:
            raise Refusal("\"ground_heights\" needs a \"probes\" array")
        numbers = request["probes"]
        if not isinstance(numbers, list):
            raise Refusal("\"probes\" is not an array")
        floats = [narrowed(n) for n in numbers]
        if None in floats:
            raise Refusal("\"probes\" holds a non-number at index %d" % floats.index(None))
        if len(floats) % 3:
            raise Refusal("\"probes\" holds %d numbers, not a multiple of 3" % len(floats))
        probes = list(zip(floats[0::3], floats[1::3], floats[2::3]))
        heights = self.game.ground_heights(probes)
        if self.fault == "missing-height" and len(heights) > 1:
            heights = heights[:-1]
        return {"heights": [Coordinate(0 if h is None else h) for h in heights],
                "found": [0 if h is None else 1 for h in heights]}

    def link(self, request):
        return point(self.game.link())

    def camera(self, request):
        return point(self.game.camera())

    def teleport(self, request):
        self.game.teleport(*probe_point(request, "teleport"))
        return {}

    def load(self, request):
        package = request.get("package")
        if not isinstance(package, str) or not package:
            raise Refusal("\"load\" needs a non-empty string \"package\"")
        document = request.get("document")
        if not isinstance(document, dict):
            raise Refusal("\"load\" needs an object \"document\"")
        if "actors" in document and not isinstance(document["actors"], list):
            raise Refusal("the document's \"actors\" is not an array")
        return {"walking": self.game.load(package, document)}

    def live_actors(self, request):
        package = string_member(request, "package", "live_actors")
        live = self.game.live_actors(package)
        if live is None:
            raise Refusal("no package %s is loaded" % json.dumps(package))
        time, actors = live
        return {"time": time, "actors": [{"id": a["id"], "position": point(a["position"]), "point": a["point"]}
                                         for a in actors]}

    def live_route(self, request):
        package, actor = request.get("package"), request.get("actor")
        if not isinstance(package, str) or not isinstance(actor, str):
            raise Refusal("\"live_route\" needs strings \"package\" and \"actor\"")
        route = self.game.live_route(package, actor)
        if route is not None:
            route = dict(route, points=[point(p) for p in route["points"]], position=point(route["position"]))
        return {"route": route}

    def advance(self, request):
        seconds = request.get("seconds")
        if not is_finite_number(seconds) or seconds < 0:
            raise Refusal("\"advance\" needs a number \"seconds\", at least 0")
        if not self.game.can_advance():
            raise Refusal("the clock is real: \"advance\" needs a manual clock")
        return {"time": self.game.advance(float(seconds))}


# --- The server -----------------------------------------------------------------------------------

class Server:
    """Listens on 127.0.0.1 and serves each connection on its own thread until `stop`."""

    def __init__(self, game, port=DEFAULT_PORT, fault=None, max_line_bytes=MAX_LINE_BYTES):
        self.protocol = Protocol(game, fault)
        self.max_line_bytes = max_line_bytes
        self.listener = socket.create_server(("127.0.0.1", port))
        self.port = self.listener.getsockname()[1]
        self.stopping = threading.Event()

    def overlong(self):
        return encode({"id": None, "ok": False, "error": "the line is longer than %d bytes" % self.max_line_bytes})

    def run(self):
        self.listener.settimeout(0.2)  # so that `stop` is seen
        while not self.stopping.is_set():
            try:
                connection, _ = self.listener.accept()
            except socket.timeout:
                continue
            except OSError:
                break
            connection.settimeout(None)
            connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            threading.Thread(target=self.serve, args=(connection,), daemon=True).start()
        self.listener.close()

    def stop(self):
        self.stopping.set()

    def serve(self, connection):
        with connection:
            try:
                complete = self.read_loop(connection)
            except OSError:  # reset by the client, or a write to a closed connection
                complete = False
        if not complete and self.protocol.fault == "dies-on-close":
            os._exit(1)  # as a bridge whose unhandled error takes the game's process down

    def read_loop(self, connection):
        """Serves `connection` until the client closes it. False when it closed in the middle of a
        request (a line begun and not ended)."""
        held = bytearray()
        scanned = 0        # bytes of `held` known to hold no newline
        skipping = False   # inside the rest of an over-long line
        while not self.stopping.is_set():
            chunk = connection.recv(READ_CHUNK_BYTES)
            if not chunk:
                return not held and not skipping
            held += chunk
            answers, start = [], 0
            while True:
                newline = held.find(b"\n", max(start, scanned))
                if newline < 0:
                    break
                if skipping:
                    skipping = False
                elif newline - start > self.max_line_bytes:
                    answers.append(self.overlong())
                else:
                    answer = self.protocol.answer(bytes(held[start:newline]))
                    if answer is not None:
                        answers.append(answer)
                start = newline + 1
            del held[:start]
            scanned = len(held)
            if len(held) > self.max_line_bytes:
                if not skipping:
                    answers.append(self.overlong())
                skipping = True
                held.clear()
                scanned = 0
            if self.protocol.fault == "out-of-order":
                answers.reverse()
            if answers:
                connection.sendall(("\n".join(answers) + "\n").encode("utf-8"))
        return True


def serve(game, port=DEFAULT_PORT, fault=None, name="bridge"):
    """Serves `game` on 127.0.0.1:`port` (0 picks a free port) until interrupted; says where on stderr."""
    server = Server(game, port, fault)
    print("%s: listening on 127.0.0.1:%d (world %s)" % (name, server.port, game.world_name),
          file=sys.stderr, flush=True)
    try:
        server.run()
    except KeyboardInterrupt:
        pass
