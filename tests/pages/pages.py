"""pages.py ZEL FOLDER: the manual pages and completions in FOLDER beside what the program itself says. The shells that are
installed are asked what they complete; the others are named and left out."""
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

ZEL, FOLDER = sys.argv[1], Path(sys.argv[2])
troubles = []


def expect(holds, what):
    if not holds:
        troubles.append(what)


def run(*words, **more):
    done = subprocess.run(words, capture_output=True, text=True, stdin=subprocess.DEVNULL, timeout=120, **more)
    return done.returncode, done.stdout, done.stderr


def has(program):
    if shutil.which(program):
        return True
    print(f"pages: {program} is not installed, its part is left out")
    return False


# What the program says: every verb, and the flags that its help lists.
VERBS = re.findall(r"^  ([a-z-]+) +\S", run(ZEL, "help")[1], re.MULTILINE)
HELP = {verb: run(ZEL, "help", verb)[1] for verb in VERBS if verb != "help"}
FLAGS = {"help": {"-h", "--help"}}
for verb, text in HELP.items():
    listed = re.findall(r"^  (?:(-\w), )?(--[a-z-]+)", text, re.MULTILINE)
    FLAGS[verb] = {name for pair in listed for name in pair if name} | {"-h", "--help"}


def check_manual():
    pages = {path.name for path in (FOLDER / "man1").iterdir()}
    expect(pages == {"zel.1"} | {f"zel-{verb}.1" for verb in VERBS}, f"a page too many or too few: {sorted(pages)}")
    if not has("man"):
        return
    environment = dict(os.environ, MANWIDTH="100", GROFF_NO_SGR="1", LC_ALL="C.UTF-8", MANROFFOPT="")
    for page in sorted(pages):
        status, text, said = run("man", "--warnings", "-E", "UTF-8", "-P", "cat", "-l", str(FOLDER / "man1" / page), env=environment)
        expect(status == 0 and said == "", f"{page}: {said}")
        text = re.sub(".\b", "", text)
        verb = page[4:-2]
        for flag in FLAGS.get(verb, set()):
            expect(re.search(rf"(?<![\w-]){flag}(?![\w-])", text), f"{page} does not name {flag}")
        for line in HELP.get(verb, "").split("\n\n")[0].splitlines()[1:]:
            expect(line.strip() in text, f"{page} does not show the example {line}")
    text = re.sub(".\b", "", run("man", "-P", "cat", "-l", str(FOLDER / "man1" / "zel.1"), env=environment)[1])
    for verb in VERBS:
        expect(re.search(rf"^ +{verb}\b", text, re.MULTILINE), f"zel.1 does not list {verb}")


def flags_among(words):
    return {word for word in words if word.startswith("-")}


BASH = """
source "$1"
while IFS= read -r line; do
    IFS=$'\\t' read -r -a COMP_WORDS <<< "$line"
    [[ $line == *$'\\t' ]] && COMP_WORDS+=("")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    _zel
    (IFS=$'\\t'; printf '%s\\n' "${COMPREPLY[*]}")
done < "$2"
"""


def check_bash(folder):
    file = str(FOLDER / "bash" / "zel")
    asked = [["zel", ""], ["zel", "ex"], ["zel", "help", "conv"], ["zel", "export", "a"], ["zel", "export", "x", "-o", "a"],
             ["zel", "join", "--side", "=", ""], ["zel", "export", "--position", "Top\\ "], ["zel", "export", "--position", '"Top R'],
             ["zel", "export", "--width", ""], ["zel", "composer", ""], ["zel", "composer", "check", "a"],
             ["zel", "cache", "list", "a"], ["zel", "fetch", "a"]]
    asked += [["zel", verb, "-"] for verb in VERBS]
    (folder / "asked").write_text("".join("\t".join(words) + "\n" for words in asked))
    status, out, said = run("bash", "-c", BASH, "bash", file, "asked", cwd=folder)
    expect(status == 0 and said == "", f"bash: {said}")
    got = [set(filter(None, line.split("\t"))) for line in out.splitlines()]
    expected = [set(VERBS), {verb for verb in VERBS if verb.startswith("ex")}, {"convert", "convolve"}, {"a b.png", "asked"}, {"a b.png", "asked"},
                {"right", "below"}, {"Top\\ Left", "Top\\ Center", "Top\\ Right"}, {"Top Right"},
                set(), {"check", "show", "replace"}, {"a b.png", "asked"}, set(), set()]
    expected += [FLAGS[verb] for verb in VERBS]
    for words, found, wanted in zip(asked, got, expected):
        expect(found == wanted, f"bash completes {words} to {sorted(found)}, not {sorted(wanted)}")
    expect(len(got) == len(asked), "bash did not answer everything")
    # Whatever is offered behind a flag is something that the program takes.
    for verb, flag, words in re.findall(r"^        ([a-z-]+)\)$|^ +(\S.*)\) _zel_words \"\$word\" (.*?); return", Path(file).read_text(), re.MULTILINE):
        if verb:
            current = verb
            continue
        for name in flag.split(" | "):
            for word in re.findall(r"'([^']*)'", words):
                status, _, said = run(ZEL, current, name, word, "--help")
                expect(status == 0, f"zel {current} {name} '{word}' is offered and refused: {said}")


ZSH = """
_arguments() {
    if [[ $1 == -C ]]; then state=rest line=($verb); return 1; fi
    print -rl -- "$@"
}
for verb in $verbs; do
    print -r -- "== $verb"
    source $file
done
"""


def check_zsh():
    if not has("zsh"):
        return
    setup = f"verbs=({' '.join(VERBS)}); file={FOLDER / 'zsh' / '_zel'}"
    status, out, said = run("zsh", "-f", "-c", setup + ZSH)
    expect(status == 0 and said == "", f"zsh: {said}")
    for part in out.split("== ")[1:]:
        verb, _, specifications = part.partition("\n")
        found = set(re.findall(r"^(?:\([^)]*\)|\*)?(--?[a-z0-9-]+)[+=]?\[", specifications, re.MULTILINE | re.IGNORECASE))
        expect(found == FLAGS[verb], f"zsh completes {verb} to {sorted(found)}, not {sorted(FLAGS[verb])}")


def check_fish(folder):
    if not has("fish"):
        return
    def complete(line):
        # A home of its own, which it would write to.
        status, out, said = run("fish", "--no-config", "-c", f"source {FOLDER / 'fish' / 'zel.fish'}; complete -C '{line}'", cwd=folder,
                                env=dict(os.environ, HOME=str(folder)))
        expect(status == 0 and said == "", f"fish: {said}")
        return {row.split("\t")[0] for row in out.splitlines()}
    expect(complete("zel ") == set(VERBS), "fish does not complete the verbs")
    for verb in VERBS:
        found = flags_among(complete(f"zel {verb} -")) | flags_among(complete(f"zel {verb} --"))
        expect(found == FLAGS[verb], f"fish completes {verb} to {sorted(found)}, not {sorted(FLAGS[verb])}")
    for line, wanted in (("zel join --side ", {"right", "below"}), ("zel export --width ", set()), ("zel help conv", {"convert", "convolve"}),
                         ("zel composer ", {"check", "show", "replace"}), ("zel export -o a", {"a b.png", "asked"}), ("zel export a", {"a b.png", "asked"})):
        found = complete(line)
        expect(found == wanted, f"fish completes '{line}' to {sorted(found)}, not {sorted(wanted)}")


expect(len(VERBS) > 20 and all(len(FLAGS[verb]) >= 2 for verb in VERBS), "the program's help was not understood")
check_manual()
with tempfile.TemporaryDirectory() as name:
    place = Path(name)
    (place / "a b.png").write_text("")
    check_bash(place)
    check_fish(place)
check_zsh()
for trouble in troubles:
    print("pages:", trouble)
sys.exit(1 if troubles else 0)
