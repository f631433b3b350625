#!/usr/bin/env python3
"""What the corpora reach of the files that read foreign bytes, and what they do not.

usage: coverage.py BUILD [FILE...]     (./dev fuzz --coverage builds and calls it)

Replays fuzz/corpus/ with the programs of a tree that is built with clang's source-based coverage.
Prints a line for each file of fuzz/parsing_files.txt, or for FILEs only. Fails when all of them
together are below 95 per cent, or when the lines with regions that are not reached are others than
those that fuzz/unreached.txt gives reasons for.
"""
import json
import subprocess
import sys
from collections import Counter
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
GOAL = 95.0
CODE = 0  # the kind of region that is no expansion, gap or branch


def run(*words, **options):
    return subprocess.run([str(word) for word in words], check=True, **options)


def replayed(build):
    """The programs, and the profile of all their corpora."""
    programs = sorted(path for path in (build / "fuzz").glob("fuzz_*")
                      if path.is_file() and not path.suffix)
    profiles = []
    for program in programs:
        profile = program.with_suffix(".profraw")
        corpus = ROOT / "fuzz/corpus" / program.name.removeprefix("fuzz_")
        run(program, corpus, env={"LLVM_PROFILE_FILE": str(profile)}, stdout=subprocess.DEVNULL)
        profiles.append(profile)
    merged = build / "fuzz/corpora.profdata"
    run("llvm-profdata-14", "merge", "-sparse", "-o", merged, *profiles)
    return programs, merged


def regions_of(programs, profile, files):
    """{file: {(line, column, last line, last column): executions}}"""
    objects = [f"-object={program}" for program in programs[1:]]
    text = run("llvm-cov-14", "export", programs[0], *objects, f"-instr-profile={profile}",
               *[ROOT / file for file in files], stdout=subprocess.PIPE).stdout
    found = {file: {} for file in files}
    for function in json.loads(text)["data"][0]["functions"]:
        for *place, count, file_id, _, kind in function["regions"]:
            name = Path(function["filenames"][file_id])
            file = str(name.relative_to(ROOT)) if name.is_relative_to(ROOT) else ""
            if kind == CODE and file in found:
                # What is inlined or instantiated in several places counts where it ran at all.
                place = tuple(place)
                found[file][place] = max(count, found[file].get(place, 0))
    return found


def percent(regions):
    return 100 * sum(count > 0 for count in regions) / max(1, len(regions))


def listed(files):
    """The lines of fuzz/unreached.txt, as often as they stand there."""
    text = (ROOT / "fuzz/unreached.txt").read_text()
    lines = Counter(line for line in text.split("\n") if line and not line.startswith("#"))
    return Counter({line: n for line, n in lines.items() if line.split(": ")[0] in files})


def unreached(found):
    """Lines with a region that has no execution, as the list names them, each with its places."""
    places = {}
    for file, regions in found.items():
        lines = (ROOT / file).read_text().split("\n")
        for number in sorted({line for (line, *_), count in regions.items() if count == 0}):
            places.setdefault(f"{file}: {lines[number - 1].strip()}", []).append(number)
    return places


def holds(found):
    """Whether the list has these lines and no others; says where not."""
    places = unreached(found)
    here = Counter({line: len(numbers) for line, numbers in places.items()})
    there = listed(found)
    for line in here - there:
        print(f"no reason for {line}    (line {', '.join(map(str, places[line]))})")
    for line in there - here:
        print(f"reached or gone: {line}")
    return here == there


def main():
    build = Path(sys.argv[1]).resolve()
    files = sys.argv[2:] or (ROOT / "fuzz/parsing_files.txt").read_text().split()
    found = regions_of(*replayed(build), files)
    for file, regions in found.items():
        print(f"{file:44} {len(regions):4} regions  {percent(regions.values()):6.2f} %")
    every = [count for regions in found.values() for count in regions.values()]
    print(f"{'all':44} {len(every):4} regions  {percent(every):6.2f} %")
    has_reasons = holds(found)
    sys.exit(percent(every) < GOAL or not has_reasons)


if __name__ == "__main__":
    main()
