#pragma once
// SIGTERM (a session logging out, a service manager stopping the program) and SIGINT (Ctrl+C in
// a terminal) quit the application's event loop as its own Quit does, so that what a clean quit
// saves (the store's folded log, the song records' snapshot) is saved then too. The handler only
// writes a byte to a pipe; the quit happens on the main thread.

namespace QuitSignals {

// Call once, after the application object exists.
void install();

} // namespace QuitSignals
