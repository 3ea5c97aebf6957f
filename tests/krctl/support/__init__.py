"""Helpers of the tests of krctl."""
