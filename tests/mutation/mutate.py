#!/usr/bin/env python3
"""Do the tests notice when the code is wrong?

Makes mutants of what reads foreign bytes (targets.py says which files, and which tests have to
notice), builds the smallest test programs that cover each, and runs them. By hand, for it takes an
hour; docs/reliability.md has the figures and the survivors.

  cmake --preset debug -B build/mutation -DVEK_TEST_SHARDS=4
  tests/mutation/mutate.py --build build/mutation --sample 400 --seed 1 --out build/mutation/run
"""
import argparse
import json
import os
import random
import shutil
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent))
from building import Tree  # noqa: E402
from mutants import mutants_of  # noqa: E402
from targets import tests_of  # noqa: E402

ROOT = Path(__file__).resolve().parents[2]


def outcome_of(tree, mutant, scratch):
    """caught (by a failing test, a crash or a time-out), survived, or unbuilt."""
    shutil.rmtree(scratch, ignore_errors=True)
    scratch.mkdir(parents=True)
    for test in tests_of(mutant.file):
        program = tree.build(mutant, test.program, scratch)
        if program is None:
            return {"outcome": "unbuilt"}
        environment = dict(os.environ, TMPDIR=str(scratch), GTEST_FAIL_FAST="1",
                           GTEST_BRIEF="1", GTEST_FILTER=test.filter)
        try:
            done = subprocess.run([program, *test.arguments(ROOT)], env=environment, cwd=scratch,
                                  stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                  stderr=subprocess.DEVNULL, timeout=test.seconds)
        except subprocess.TimeoutExpired:
            return {"outcome": "caught", "by": f"{test.program}, which did not end"}
        if done.returncode != 0:
            return {"outcome": "caught", "by": test.program}
    return {"outcome": "survived"}


def chosen(arguments):
    if arguments.again:
        wanted = {line["mutant"] for line in map(json.loads, open(arguments.again))
                  if line["outcome"] == "survived"}
    mutants = []
    for file in arguments.files or tests_of():
        of_file = mutants_of(ROOT, file)
        if arguments.again:
            of_file = [mutant for mutant in of_file if mutant.text() in wanted]
        mutants += of_file
    if arguments.sample and arguments.sample < len(mutants):
        # In the order of the files, for less is built then.
        kept = set(random.Random(arguments.seed).sample(range(len(mutants)), arguments.sample))
        mutants = [mutant for index, mutant in enumerate(mutants) if index in kept]
    return mutants


def report(results):
    """A line for each file, and the share of all."""
    counts = {}
    for line in results:
        of_file = counts.setdefault(line["file"], {"caught": 0, "survived": 0, "unbuilt": 0})
        of_file[line["outcome"]] += 1
    for file, count in counts.items():
        print(f"{file:45} {count['caught']:4} caught, {count['survived']:3} survived, "
              f"{count['unbuilt']:3} did not build")
    caught = sum(count["caught"] for count in counts.values())
    survived = sum(count["survived"] for count in counts.values())
    print(f"{caught} of {caught + survived} caught: {100 * caught / max(1, caught + survived):.1f} %")


def arguments_of_command_line():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--build", type=Path, required=True, help="a configured tree, Ninja's")
    parser.add_argument("--out", type=Path, required=True, help="folder for results and scratch")
    parser.add_argument("--sample", type=int, default=0, help="so many mutants of all")
    parser.add_argument("--seed", type=int, default=1, help="of the sample")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--again", help="results of a run, whose survivors are tried again")
    parser.add_argument("--list", action="store_true", help="only names the mutants")
    parser.add_argument("files", nargs="*", help="of the listed ones; all without")
    return parser.parse_args()


def main():
    arguments = arguments_of_command_line()
    mutants = chosen(arguments)
    if arguments.list:
        print("\n".join(mutant.text() for mutant in mutants))
        return
    arguments.out.mkdir(parents=True, exist_ok=True)
    tree = Tree(ROOT, arguments.build.resolve())
    tree.prepare({test.program for mutant in mutants for test in tests_of(mutant.file)})
    results = []
    with open(arguments.out / "results.jsonl", "w") as log, \
            ThreadPoolExecutor(arguments.jobs) as workers:
        def judge(numbered):
            number, mutant = numbered
            scratch = (arguments.out / f"scratch.{number}").resolve()
            result = outcome_of(tree, mutant, scratch)
            shutil.rmtree(scratch, ignore_errors=True)
            return {"file": mutant.file, "mutant": mutant.text(), **result}
        for result in workers.map(judge, enumerate(mutants)):
            results.append(result)
            log.write(json.dumps(result) + "\n")
            log.flush()
            if result["outcome"] == "survived":
                print("survived:", result["mutant"], flush=True)
    report(results)


if __name__ == "__main__":
    main()
