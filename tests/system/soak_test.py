"""The two-minute cut of the soak: every fault once."""
import os
import sys

SOAK = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../harness/soak.py")
os.execv(sys.executable, [sys.executable, SOAK, "--minutes", "2"])
