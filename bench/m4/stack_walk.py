#!/usr/bin/env python3
"""Worst-case stack of every exported call, from GCC's -fcallgraph-info=su files.

Each function's own frame comes from the compiler; the walk adds the deepest chain of
direct callees. Calls through function pointers are invisible to the compiler and are
listed; functions without a known frame (libm, libc) count as 0 bytes and are named.
Usage: stack_walk.py DIR [ROOT_PREFIX]   (prints one line per exported call, then the max)
"""
import pathlib
import re
import sys

NODE = re.compile(r'node: \{ title: "([^"]+)" label: "([^"]*)"')
EDGE = re.compile(r'edge: \{ sourcename: "([^"]+)" targetname: "([^"]+)"')
BYTES = re.compile(r'\\n(\d+) bytes \((static|dynamic[^)]*)\)')


def load(directory):
    frames, edges, dynamic = {}, {}, set()
    for ci in pathlib.Path(directory).rglob("*.ci"):
        text = ci.read_text(errors="replace")
        for name, label in NODE.findall(text):
            m = BYTES.search(label)
            if m:
                frames[name] = max(frames.get(name) or 0, int(m.group(1)))
                if m.group(2) != "static":
                    dynamic.add(name)
            else:
                frames.setdefault(name, None)
        for src, dst in EDGE.findall(text):
            edges.setdefault(src, set()).add(dst)
    return frames, edges, dynamic


def deepest(name, frames, edges, memo, active, unknown):
    if name in memo:
        return memo[name]
    if name in active:  # recursion: the walk cannot bound it
        raise SystemExit(f"recursion through {name}: stack not bounded")
    active.add(name)
    own = frames.get(name)
    if own is None:
        unknown.add(name)
        own = 0
    best, path = 0, []
    for callee in sorted(edges.get(name, ())):
        depth, sub = deepest(callee, frames, edges, memo, active, unknown)
        if depth > best:
            best, path = depth, sub
    active.discard(name)
    memo[name] = (own + best, [name] + path)
    return memo[name]


def main():
    directory = sys.argv[1]
    prefix = sys.argv[2] if len(sys.argv) > 2 else "vorn_"
    frames, edges, dynamic = load(directory)
    roots = sorted(n for n in frames if n.startswith(prefix) and frames[n] is not None)
    memo, unknown, worst = {}, set(), (0, "")
    for root in roots:
        depth, path = deepest(root, frames, edges, memo, set(), unknown)
        worst = max(worst, (depth, root))
        print(f"  {root:28s} {depth:5d} bytes  deepest chain: {' > '.join(path[1:6])}"
              + (" ..." if len(path) > 6 else ""))
    if dynamic:
        print("  dynamic frames: " + ", ".join(sorted(dynamic)))
    libs = sorted(u for u in unknown if "__" in u or u.endswith("f") or u.startswith("mem"))
    if libs:
        print("  counted as 0 (library code without frame data): " + ", ".join(libs))
    print(f"MAX {worst[0]} {worst[1]}")


if __name__ == "__main__":
    main()
