"""The parts of the fault tests' runner."""
