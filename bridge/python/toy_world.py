"""An example bridge on a toy world: flat ground with a square hole and a raised step, Link, a camera
that follows him, and walkers that walk their routes straight from point to point. Every function of
pathwright_bridge.Game is filled in; a bridge in a real game answers the same from the game itself.

    python3 toy_world.py [--port 47800] [--clock real|manual] [--fault NAME]
"""

import argparse
import math
import time

import pathwright_bridge
from pathwright_bridge import Refusal, float_text

FLOOR = (-1000.0, 1000.0)           # the floor's extent in x and in z, at height 0
HOLE = (200.0, 300.0, 200.0, 300.0)  # x from, x to, z from, z to: no ground at all
STEP = (-500.0, -300.0, -100.0, 100.0)
STEP_HEIGHT = 40.0                  # the step is a solid block from the floor up to this height
OUTSIDE = 1000.0                    # beyond the floor by more than this, a probe is outside the world
PROBE_ABOVE = 100.0                 # walkers stand on the ground below a probe this far above them
CAMERA_BEHIND, CAMERA_ABOVE = 300.0, 200.0
MODEL_PACE, OTHER_PACE = 60.0, 50.0  # units a second when a route gives no speed
FAST_WALK = "fast-walk"  # the toy's own deliberate fault: walkers 5 % faster than the game's rules say
FAST_WALK_FACTOR = 1.05


def inside(x, z, area):
    return area[0] <= x <= area[1] and area[2] <= z <= area[3]


class Walker:
    """One actor walking its route: straight legs at a constant horizontal pace, on the ground."""

    def __init__(self, world, actor, start_time, pace_factor=1.0):
        path = actor["path"]
        self.id = actor["id"]
        self.world = world
        self.start_time = start_time
        self.mode = path.get("mode") if path.get("mode") in ("once", "loop", "back_and_forth") else "once"
        model = actor.get("kind") == "mod"
        speed = path.get("speed")
        self.speed = speed if model and pathwright_bridge.is_number(speed) and speed > 0 else (
            MODEL_PACE if model else OTHER_PACE)
        self.speed *= pace_factor
        self.points = [self.grounded(p) for p in path["points"]]
        position = actor.get("position")
        start = None if model or not readable_point(position) else self.grounded(position)
        # Waypoints as (point, its number); the first pass, then the part that repeats.
        n = len(self.points)
        numbered = [(self.points[k], k + 1) for k in range(n)]
        self.lead = ([(start, 1)] if start else []) + numbered
        # Both repeating parts start where the first pass ends, at the last point.
        if self.mode == "loop":
            self.cycle = [numbered[-1]] + numbered
        elif self.mode == "back_and_forth":
            self.cycle = numbered[::-1] + numbered[1:]
        else:
            self.cycle = []

    def grounded(self, p):
        height, _ = self.world.ground_height(p["x"], p["y"] + PROBE_ABOVE, p["z"])
        return (p["x"], p["y"] if height is None else height, p["z"])

    def state(self, now):
        """(position, heading, target number, state) at time `now`."""
        distance = (now - self.start_time) * self.speed
        legs = self.lead
        cycle_length = path_length(self.cycle)
        walked = walk(legs, distance)
        if walked is None and cycle_length > 0:
            distance = (distance - path_length(legs)) % cycle_length
            legs = self.cycle
            walked = walk(legs, distance)
        if walked is None:
            last = self.lead[-1]
            return last[0], 0.0, last[1], "arrived"
        (x, y, z), heading, target = walked
        height, _ = self.world.ground_height(x, y + PROBE_ABOVE, z)
        return (x, y if height is None else height, z), heading, target, "walking"


def horizontal(a, b):
    return math.hypot(b[0] - a[0], b[2] - a[2])


def path_length(waypoints):
    return sum(horizontal(waypoints[k][0], waypoints[k + 1][0]) for k in range(len(waypoints) - 1))


def walk(waypoints, distance):
    """Where `distance` along the waypoints ends: (point, heading, target number), None past the end."""
    for k in range(len(waypoints) - 1):
        (a, _), (b, target) = waypoints[k], waypoints[k + 1]
        length = horizontal(a, b)
        if distance < length:
            t = distance / length
            at = tuple(a[i] + t * (b[i] - a[i]) for i in range(3))
            heading = math.degrees(math.atan2(b[0] - a[0], b[2] - a[2])) % 360.0
            return at, heading, target
        distance -= length
    return None


def readable_point(p):
    return isinstance(p, dict) and all(pathwright_bridge.narrowed(p.get(axis)) is not None for axis in "xyz")


class ToyWorld(pathwright_bridge.Game):
    world_name = "toy"
    bounds = ((FLOOR[0], 0.0, FLOOR[0]), (FLOOR[1], STEP_HEIGHT, FLOOR[1]))

    def __init__(self, manual_clock, pace_factor=1.0):
        self.manual_clock = manual_clock
        self.pace_factor = pace_factor
        self.manual_time = 0.0
        self.started = time.monotonic()
        self.link_at = (-100.0, 0.0, -150.0)
        self.packages = {}  # name: [Walker, ...] in document order

    def now(self):
        return self.manual_time if self.manual_clock else time.monotonic() - self.started

    def ground_height(self, x, y, z):
        if inside(x, z, STEP) and y >= STEP_HEIGHT:
            return STEP_HEIGHT, None
        if inside(x, z, (FLOOR[0], FLOOR[1], FLOOR[0], FLOOR[1])) and not inside(x, z, HOLE) and y >= 0:
            return 0.0, None
        where = "(%s, %s)" % (float_text(x), float_text(z))
        if not inside(x, z, (FLOOR[0] - OUTSIDE, FLOOR[1] + OUTSIDE, FLOOR[0] - OUTSIDE, FLOOR[1] + OUTSIDE)):
            return None, "outside the world: " + where
        return None, "nothing below " + where

    def link(self):
        return self.link_at

    def camera(self):
        x, y, z = self.link_at
        return (x, y + CAMERA_ABOVE, z - CAMERA_BEHIND)

    def teleport(self, x, y, z):
        self.link_at = (x, y, z)

    def load(self, package, document):
        walkers = []
        for actor in document.get("actors", []):
            path = actor.get("path") if isinstance(actor, dict) else None
            if (isinstance(actor.get("id") if isinstance(actor, dict) else None, str) and isinstance(path, dict)
                    and isinstance(path.get("points"), list) and path["points"]
                    and all(readable_point(p) for p in path["points"])):
                walkers.append(Walker(self, actor, self.now(), self.pace_factor))
        self.packages[package] = walkers
        return len(walkers)

    def live_actors(self, package):
        if package not in self.packages:
            return None
        now = self.now()
        actors = []
        for walker in self.packages[package]:
            position, _, target, _ = walker.state(now)
            actors.append({"id": walker.id, "position": position, "point": target})
        return now, actors

    def live_route(self, package, actor):
        walker = next((w for w in self.packages.get(package, []) if w.id == actor), None)
        if walker is None:
            return None
        position, heading, target, state = walker.state(self.now())
        return {"points": walker.points, "mode": walker.mode, "speed": walker.speed, "position": position,
                "heading": heading, "target": target, "state": state}

    def can_advance(self):
        return self.manual_clock

    def advance(self, seconds):
        if not self.manual_clock:
            raise Refusal("the clock is real: \"advance\" needs a manual clock")
        self.manual_time += seconds
        return self.manual_time


def main():
    parser = argparse.ArgumentParser(description="the game link on a toy world, on 127.0.0.1")
    parser.add_argument("--port", type=int, default=pathwright_bridge.DEFAULT_PORT, help="0 picks a free port")
    parser.add_argument("--clock", choices=("real", "manual"), default="real")
    parser.add_argument("--fault", choices=sorted(pathwright_bridge.FAULTS) + [FAST_WALK],
                        help="make one deliberate fault (for testing bridge-check)")
    options = parser.parse_args()
    fast = options.fault == FAST_WALK
    world = ToyWorld(options.clock == "manual", FAST_WALK_FACTOR if fast else 1.0)
    pathwright_bridge.serve(world, options.port, None if fast else options.fault, name="toy_world")


if __name__ == "__main__":
    main()
