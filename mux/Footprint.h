#pragma once

namespace Mux {

// Keeps the memory of the process small, whatever the number of its threads: a lock gateway costs two. Called by main
// before any other thread exists, because it settles what threads are made with.
void KeepFootprintSmall();

}  // namespace Mux
