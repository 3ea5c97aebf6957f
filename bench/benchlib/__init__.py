"""The benchmark's parts, one job each; bench/run.py puts them together."""
