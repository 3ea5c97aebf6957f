"""The parts of the scenario runner, one idea a module."""

import os
import sys

# The tool that starts PostgreSQL servers is everybody's.
sys.path.append(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../postgresql"))
