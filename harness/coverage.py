"""Runs all tests in a build for llvm-cov, and tells how much of src/ they reach.

./dev coverage builds what this runs. Lines by file go to the screen, the sources with what was not
reached to build/coverage/html. Exit status 1 when a test fails or a limit is missed.
"""
import argparse
import glob
import json
import os
import shutil
import subprocess
import sys

TOP = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BUILD = TOP + "/build/coverage"
PROFILES, DATA = BUILD + "/profiles", BUILD + "/all.profdata"
LIMITS = {"lines": 90, "branches": 80}


def run_tests(options):
    """True when all passed. A program that ends leaves its counts; of a killed one they are lost."""
    shutil.rmtree(PROFILES, ignore_errors=True)
    # %m: programs of the same build add to one of 8 files, whichever is free.
    return subprocess.call(["ctest", "--test-dir", BUILD, "--output-on-failure", "-j", str(os.cpu_count()),
                            *options], env=dict(os.environ, LLVM_PROFILE_FILE=PROFILES + "/%8m.profraw")) == 0


def llvm_cov(command, *options):
    programs = [path for path in sorted(glob.glob(BUILD + "/bin/*")) if os.access(path, os.X_OK)]
    objects = [argument for path in programs[1:] for argument in ("-object", path)]
    return subprocess.run(["llvm-cov-14", command, programs[0], *objects, "-instr-profile", DATA,
                           *options, TOP + "/src"], check=True, capture_output=True, text=True).stdout


def show(title, summary):
    cells = "".join(f"{summary[kind]['covered']:8} of {summary[kind]['count']:5}"
                    f"{summary[kind]['percent']:7.1f} %" for kind in LIMITS)
    print(f"{title:<44}{cells}")


def main():
    arguments = argparse.ArgumentParser(prog="./dev coverage", description=__doc__)
    arguments.add_argument("ctest", nargs="*", help="options for ctest, after --")
    passed = run_tests(arguments.parse_args().ctest)
    # A profile that a killed program left half written does not count.
    subprocess.run(["llvm-profdata-14", "merge", "-failure-mode=all", "-o", DATA,
                    *glob.glob(PROFILES + "/*")], check=True)
    llvm_cov("show", "-format=html", "-output-dir", BUILD + "/html", "-show-branches=count")
    result = json.loads(llvm_cov("export", "-summary-only"))["data"][0]
    print(f"{'':<44}{'lines reached':>24}{'branches reached':>24}")
    for file in sorted(result["files"], key=lambda file: file["summary"]["lines"]["percent"]):
        show(os.path.relpath(file["filename"], TOP), file["summary"])
    show("all", result["totals"])
    missed = [kind for kind, limit in LIMITS.items() if result["totals"][kind]["percent"] < limit]
    for kind in missed:
        print(f"fewer than {LIMITS[kind]} % of the {kind}", file=sys.stderr)
    return 0 if passed and not missed else 1


if __name__ == "__main__":
    sys.exit(main())
