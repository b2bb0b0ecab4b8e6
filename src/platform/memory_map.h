// Mapping of files that never ends the process for want of room.
#pragma once

namespace rampart::platform {

// A stand-in for the system's call that maps a file into memory, of the same signature, for a library whose
// calls can be exchanged by name ("mmap"). What is mapped to be written has its room on the disk first: with
// holes, a full disk would show only when the memory is touched, by a signal. Null where the system does so
// by itself.
using SystemCall = void (*)();
SystemCall ReservingMemoryMap();

}  // namespace rampart::platform
