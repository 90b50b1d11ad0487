#!/usr/bin/env python3
"""Holds the builtin commands against the programs that they stand for: answers between two runs
of the program, which are right when these agree with one another.

Each kind of question has namespaces of its own: processes whose threads end, or become another
program; ids that are used again; a /proc that hides processes, from root and from others; few
descriptors; odd names, in three locales. Exit status 1 when an answer was wrong, 77 when there are
no namespaces to be had.
"""
import argparse
import os
import shutil
import subprocess
import sys
import tempfile

TOP = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BIN = os.environ.get("VOS_BIN", os.path.join(TOP, "build/release/bin"))
SKIPPED = 77
THIRD_LOCALE = "de_DE"

# What is asked, the share of all questions, hidepid of /proc, locale.
PLAN = [("threads", 0.3, 0, "C"), ("executions", 0.2, 0, "C"), ("ids", 0.2, 0, "C"),
        ("root", 0.02, 1, "C"), ("root", 0.02, 2, "C"),
        ("nobody", 0.02, 0, "C"), ("nobody", 0.04, 1, "C"), ("nobody", 0.04, 2, "C"),
        ("descriptors", 0.1, 0, "C"),
        ("names", 0.02, 0, "C"), ("names", 0.02, 0, "C.UTF-8"), ("names", 0.02, 0, THIRD_LOCALE)]


def parse_options():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--questions", type=int, default=10000, help="in all (%(default)s)")
    parser.add_argument("--seed", type=int, default=1)
    return parser.parse_args()


def unshared(*command):
    root = () if os.geteuid() == 0 else ("--map-root-user",)
    return ["unshare", *root, "--net", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc",
            *command]


def make_locale(folder):
    """The third locale, one of single bytes; False when the machine can not make it."""
    made = shutil.which("localedef") and subprocess.run(
        ["localedef", "-i", THIRD_LOCALE, "-f", "ISO-8859-1", f"{folder}/{THIRD_LOCALE}"],
        capture_output=True).returncode == 0
    return bool(made)


def ask(kind, count, hidepid, locale, seed, folder):
    """(questions, left to the program, wrong)"""
    hide = f"mount -o remount,hidepid={hidepid} /proc && " if hidepid else ""
    done = subprocess.run(
        unshared("/bin/sh", "-c", f'{hide}exec "$0" "$@"', BIN + "/equality", kind, str(count),
                 str(seed)),
        stdout=subprocess.PIPE, text=True, env=dict(os.environ, LC_ALL=locale, LOCPATH=folder)
        if locale == THIRD_LOCALE else dict(os.environ, LC_ALL=locale))
    if done.returncode != 0:
        sys.exit(f"{kind}: exit status {done.returncode}")
    return [int(word) for word in done.stdout.split()]


def main():
    options = parse_options()
    trial = subprocess.run(unshared("true"), capture_output=True, text=True)
    if trial.returncode != 0:
        print("skipped: no namespaces here: " + trial.stderr.strip())
        return SKIPPED
    total = [0, 0, 0]
    print(f"{'':36}{'asked':>8}{'left':>8}{'wrong':>8}")
    with tempfile.TemporaryDirectory() as folder:
        have_locale = make_locale(folder)
        for kind, share, hidepid, locale in PLAN:
            title = f"{kind}, hidepid {hidepid}, {locale}"
            if kind == "nobody" and os.geteuid() != 0:
                print(f"{title:<36}  skipped: only root can become another user")
            elif locale == THIRD_LOCALE and not have_locale:
                print(f"{title:<36}  skipped: localedef can not make it")
            else:
                count = max(1, int(share * options.questions))
                figures = ask(kind, count, hidepid, locale, options.seed, folder)
                total = [one + other for one, other in zip(total, figures)]
                print(f"{title:<36}" + "".join(f"{figure:8}" for figure in figures), flush=True)
    print(f"{'all':<36}" + "".join(f"{figure:8}" for figure in total))
    return 1 if total[2] else 0


sys.exit(main())
