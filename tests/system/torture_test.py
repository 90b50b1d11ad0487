"""Some of the faults and kills of ./dev torture, which knows them all."""
import os
import subprocess
import sys

TORTURE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../harness/torture.py")
sys.exit(subprocess.call([sys.executable, TORTURE, "--sample", "40", "--pairs", "4", "--kills", "5",
                          "--jobs", "3"]))
