// Protects a recorder in use from the tests.

#pragma once

namespace contract {

// Ends the program unless tests/contract/in-sandbox started it.
void RequireSandbox();

} // namespace contract
