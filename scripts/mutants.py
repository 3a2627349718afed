"""Fault injection: plants each fault of a list into a scratch copy of the tree, one at
a time, rebuilds incrementally, runs the fast CTest suite and reports which test files
notice it. A test file that is the only one to catch some fault earns its keep; one that
catches nothing alone is a candidate for folding into the others.

Fault list lines:  id | path | original text | replacement | why it is plausible
(the original must occur exactly once in the file; blank lines and # comments skipped;
in the two texts \\n stands for a line break and \\| for a bar).
"""

import argparse
import json
import os
import pathlib
import shutil
import subprocess
import sys
import time


def parse_faults(path):
    faults = []
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if not line.strip() or line.lstrip().startswith("#"):
            continue
        parts = [p.strip() for p in line.split(" | ")]
        if len(parts) != 5:
            sys.exit(f"{path}:{number}: want 'id | path | original | replacement | why'")
        fault = dict(zip(("id", "path", "original", "replacement", "why"), parts))
        for key in ("original", "replacement"):
            fault[key] = fault[key].replace("\\n", "\n").replace("\\|", "|")
        faults.append(fault)
    return faults


def run(cmd, cwd, timeout=None):
    return subprocess.run(cmd, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, timeout=timeout)


def plain(name):
    """A test's name without the parameter dump GoogleTest appends (it holds addresses)."""
    return name.split("  # ", 1)[0]


def test_files(build):
    """CTest test name -> the test file it belongs to (an executable's or script's name)."""
    listing = json.loads(run(["ctest", "--show-only=json-v1"], build).stdout)
    owners = {}
    for test in listing["tests"]:
        command = test.get("command") or [test["name"]]
        exe = os.path.basename(command[0])
        owner = exe
        if exe.startswith(("python", "bash", "sh", "cmake")):
            scripts = [a for a in command[1:] if a.endswith((".py", ".sh", ".cmake"))]
            owner = os.path.basename(scripts[0]) if scripts else test["name"]
        owners[plain(test["name"])] = owner
    return owners


def failing_tests(build, jobs):
    log = build / "Testing" / "Temporary" / "LastTestsFailed.log"
    if log.exists():
        log.unlink()
    run(["ctest", "-j", str(jobs), "-LE", "slow", "--timeout", "300"], build)
    if not log.exists():
        return set()
    return {plain(line.split(":", 1)[1]) for line in log.read_text().splitlines() if ":" in line}


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--faults", default="scripts/mutants.txt")
    parser.add_argument("--work", default="/tmp/vorn-mutants")
    parser.add_argument("--only", help="comma-separated fault ids")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 2)
    args = parser.parse_args()

    root = pathlib.Path(__file__).resolve().parent.parent
    faults = parse_faults(root / args.faults)
    if args.only:
        keep = set(args.only.split(","))
        faults = [f for f in faults if f["id"] in keep]
    tree = pathlib.Path(args.work) / "tree"
    build = pathlib.Path(args.work) / "build"
    files = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=root,
                           stdout=subprocess.PIPE, text=True, check=True).stdout.split()
    if tree.exists():  # files gone from the tree go from the copy too (builds glob sources)
        for stale_file in [p for p in tree.rglob("*") if p.is_file()]:
            if str(stale_file.relative_to(tree)) not in files:
                stale_file.unlink()
    for name in files:  # refresh the scratch copy; unchanged files keep their time stamps
        src, dst = root / name, tree / name
        if src.is_file() and (not dst.exists() or dst.read_bytes() != src.read_bytes()):
            dst.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(src, dst)  # mode kept, a new time stamp: the build sees the change
    # A run stopped while a fault was planted leaves objects built from it: rebuild that file.
    marker = pathlib.Path(args.work) / "planted"
    if marker.exists():
        (tree / marker.read_text()).touch()
        marker.unlink()
    print(f"== building the scratch copy in {build}", flush=True)
    build.mkdir(parents=True, exist_ok=True)
    if run(["cmake", "-S", str(tree), "-B", str(build), "-DCMAKE_BUILD_TYPE=Release"], tree).returncode:
        sys.exit("configure failed")
    if run(["cmake", "--build", str(build), "-j", str(args.jobs)], tree).returncode:
        sys.exit("the unmodified tree does not build")
    owners = test_files(build)
    if failing_tests(build, args.jobs):
        sys.exit("the unmodified tree fails its tests; fix that first")

    caught_by, tests_failing = {}, {}
    broken, stale = [], []
    for fault in faults:
        path = tree / fault["path"]
        original = path.read_text()
        if original.count(fault["original"]) != 1:
            stale.append(fault["id"])
            print(f"{fault['id']:>4}  STALE: the original text is not in {fault['path']} exactly once")
            continue
        start = time.time()
        marker.write_text(fault["path"])
        path.write_text(original.replace(fault["original"], fault["replacement"]))
        try:
            if run(["cmake", "--build", str(build), "-j", str(args.jobs)], tree).returncode:
                broken.append(fault["id"])
                print(f"{fault['id']:>4}  DOES NOT BUILD")
                continue
            failing = failing_tests(build, args.jobs)
            owners.update(test_files(build))  # parameterised names change with every build
            files_failing = sorted({owners.get(t, t) for t in failing})
            caught_by[fault["id"]] = files_failing
            tests_failing[fault["id"]] = sorted(failing)
            verdict = ", ".join(files_failing) if files_failing else "SURVIVES"
            print(f"{fault['id']:>4}  {time.time() - start:5.0f} s  {verdict}", flush=True)
        finally:
            path.write_text(original)
            marker.unlink()
    run(["cmake", "--build", str(build), "-j", str(args.jobs)], tree)
    # Per fault, the failing tests by name: to see which tests inside a file earn their keep.
    (pathlib.Path(args.work) / "caught.json").write_text(json.dumps(tests_failing, indent=1))

    judged = len(caught_by)
    caught = [f for f, by in caught_by.items() if by]
    print(f"\nscore: {len(caught)} of {judged} faults caught"
          f" ({100 * len(caught) // max(judged, 1)} %); {len(broken)} did not build,"
          f" {len(stale)} stale")
    per_file = {}
    for fault_id, by in caught_by.items():
        for name in by:
            entry = per_file.setdefault(name, [[], []])
            entry[0].append(fault_id)
            if len(by) == 1:
                entry[1].append(fault_id)
    print("\nper test file: faults caught / caught alone")
    for name, (all_, alone) in sorted(per_file.items(), key=lambda kv: -len(kv[1][1])):
        print(f"  {name:40} {len(all_):3} / {len(alone):3}  {' '.join(alone)}")
    survivors = [f for f in faults if caught_by.get(f["id"]) == []]
    if survivors:
        print("\nsurviving faults:")
        for f in survivors:
            print(f"  {f['id']:>4}  {f['path']}: {f['why']}")


if __name__ == "__main__":
    main()
