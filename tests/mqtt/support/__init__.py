"""A recorder, brokers and certificates for the tests."""
