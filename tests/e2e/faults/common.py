"""What the scripted disasters share; the first import of each, for it leads to the modules of the folder above."""

import os
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1]))

LONG = bool(os.environ.get("QUILLO_LONG"))
"""Whether tests may take minutes: tools/long-tests.sh."""
