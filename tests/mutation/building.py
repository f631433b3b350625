"""Builds test programs around one changed file, beside the tree and without touching it."""
import json
import re
import shlex
import subprocess
from pathlib import Path

from mutants import written


def output_of(command):
    return re.search(r" -o (\S+)", command).group(1)


class Tree:
    def __init__(self, root, build):
        self.root = root
        self.build_dir = build
        commands = json.loads((build / "compile_commands.json").read_text())
        self.compiles = {output_of(entry["command"]): entry for entry in commands}
        self.links = {}

    def prepare(self, programs):
        """Everything as it is, once, and what links each program."""
        subprocess.run(["ninja", "-C", self.build_dir, *sorted(programs)], check=True,
                       stdout=subprocess.DEVNULL)
        for program in programs:
            commands = subprocess.run(["ninja", "-C", self.build_dir, "-t", "commands", program],
                                      check=True, capture_output=True, text=True).stdout
            link = re.sub(r"^: && ", "", commands.strip().split("\n")[-1]).split(" && ")[0]
            self.links[program] = shlex.split(link)

    def objects_of(self, file, program):
        """What of the program is made of this file: its own object, or all that include it."""
        objects = [word for word in self.links[program] if word in self.compiles]
        if not file.endswith(".h"):
            return [one for one in objects if self.compiles[one]["file"] == str(self.root / file)]
        deps = subprocess.run(["ninja", "-C", self.build_dir, "-t", "deps", *objects],
                              check=True, capture_output=True, text=True).stdout
        return [part.split(":")[0] for part in deps.split("\n\n")
                if f"{self.root / file}\n" in part + "\n"]

    def build(self, mutant, program, scratch):
        """The path of the program with the mutant in it; None where that is no C++."""
        changed = scratch / mutant.file
        changed.parent.mkdir(parents=True, exist_ok=True)
        changed.write_text(written(self.root, mutant))
        link = list(self.links[program])
        for name in self.objects_of(mutant.file, program):
            output = scratch / (name.replace("/", "_"))
            if not output.exists() and not self.compiled(name, mutant, scratch, output):
                return None
            link[link.index(name)] = str(output)
        output = scratch / Path(program).name
        link[link.index("-o") + 1] = str(output)
        subprocess.run(link, cwd=self.build_dir, check=True, capture_output=True)
        return output

    def compiled(self, name, mutant, scratch, output):
        entry = self.compiles[name]
        words = [word for word in shlex.split(entry["command"]) if word != "-Werror"]
        if Path(words[0]).name == "ccache":
            words = words[1:]
        words[words.index("-o") + 1] = str(output)
        source = words.index("-c") + 1
        if not mutant.file.endswith(".h"):
            words[source] = str(scratch / mutant.file)
        words[1:1] = ["-w", f"-I{scratch}"]
        return subprocess.run(words, cwd=entry["directory"], capture_output=True).returncode == 0
