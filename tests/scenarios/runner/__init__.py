"""The parts of the scenario runner, one idea a module."""

import os
import sys

# All tests share the module that starts PostgreSQL servers.
sys.path.append(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../postgresql"))
