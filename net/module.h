// The network module's state: one attached flag. The library's attach chain
// raises it (step 3) and its detach clears it; every network routine answers
// kNotReady while it is down. Nothing else is kept between calls.
#pragma once

namespace kx::net {

// Attach step: raises the flag (a second call finds it raised and does
// nothing). The platform has no network start-up to run, so it never fails;
// returns 1.
int NetworkAttach();
// Detach step: lowers the flag; safe on a module that is down.
void NetworkDetach();

// True while the module is attached.
bool NetworkUp();

}  // namespace kx::net
