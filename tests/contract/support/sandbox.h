// The guard between the tests and a recorder that somebody uses.

#pragma once

namespace contract {

// Ends the program unless tests/contract/in-sandbox started it.
void DemandSandbox();

} // namespace contract
