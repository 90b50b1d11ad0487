"""A cut of harness/equality.py, which asks more."""
import os
import sys

EQUALITY = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../harness/equality.py")
os.execv(sys.executable, [sys.executable, EQUALITY, "--questions", "1500"])
