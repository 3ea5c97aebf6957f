"""The parts of the benchmark, one job each; bench/run.py combines them."""
