"""The parts of the scenario runner, one idea a module."""
