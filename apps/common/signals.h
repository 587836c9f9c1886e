// What signals do to a program that writes files.
#pragma once

namespace ulmar::apps {

/// From now on SIGINT, SIGTERM, SIGHUP, SIGQUIT and SIGXCPU first remove unfinished
/// files, then end the process as they would have done; one that the process was
/// started to ignore stays ignored. SIGPIPE and SIGXFSZ are ignored: output that nobody
/// takes and files beyond a limit then fail where they are written, and are reported.
void prepareSignals();

}  // namespace ulmar::apps
