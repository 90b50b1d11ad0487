"""One life of a node by a script, and all that its programs said in it, as one text: its logs, what
commands print and how they end, the requests that the server got.

Times, addresses and figures are placeholders, so that builds that do the same give the same text.

    scripted_run.py --bin build/release/bin OUTPUT
"""
import argparse
import os
import subprocess
import sys
import time


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--bin", help="directory of the programs", required=True)
    parser.add_argument("output")
    options = parser.parse_args()
    os.environ.update(VOS_BIN=os.path.abspath(options.bin), LC_ALL="C", TZ="UTC", NO_COLOR="1")
    from node import isolate  # it looks for the programs

    obstacle = isolate()
    if obstacle:
        print("skipped:", obstacle)
        return 77
    from scripted_commands import Commands
    from scripted_node import Alone, Down, Supervised

    # The status record of this machine's own agent is none of ours.
    subprocess.run(["mount", "-t", "tmpfs", "none", "/dev/shm"], check=True)
    started, text = time.monotonic(), ""
    for part in (Supervised, Down, Alone, Commands):
        life = part()
        try:
            life.run()
        except AssertionError:
            print(life.fresh_log(), file=sys.stderr)
            raise
        finally:
            life.close()
        text += life.text
    with open(options.output, "w") as file:
        file.write(text)
    print(f"{options.output}: {text.count(chr(10))} lines in {time.monotonic() - started:.0f} s")
    return 0


if __name__ == "__main__":
    sys.exit(main())
