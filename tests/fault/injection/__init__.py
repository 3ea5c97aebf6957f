"""The parts of the fault tests, one idea a module."""
