"""What the tests share: a recorder, brokers, certificates."""
