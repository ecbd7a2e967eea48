#pragma once

namespace quillo::platform {

/// Ends the process at once, with a line that says so and exit code 1, if the toolkit's connection to the display
/// server is broken. The toolkit would end it through exit() right after a message of its own, and take the static
/// objects away from threads that run: so this is called for each of its messages. Does nothing on any thread but the
/// user-interface thread, before and after the toolkit's application, and where windows need no server.
void leaveIfDisplayIsLost();

} // namespace quillo::platform
