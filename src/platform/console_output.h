#pragma once

namespace quillo::platform {

/// Lets what the program writes to its standard error stream arrive where its starter looks for it: a redirected
/// stream does by itself; else the console of the starter, if it has one, becomes the stream's target. Called first in
/// main(), before anything is written. Does nothing where every program inherits its starter's streams.
void connectStandardError();

} // namespace quillo::platform
