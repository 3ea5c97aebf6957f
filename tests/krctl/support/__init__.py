"""What the tests of krctl share."""
