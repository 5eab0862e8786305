// Lets Media Foundation's large buffers have memory that earlier ones had.
//
// Wine's Media Foundation takes each buffer's memory from the heap and gives it back there, and the
// heap does the same with the kernel. The host makes its buffers anew for every picture, so at
// 1280x720 each picture would touch about 500 fresh pages, which costs a fifth of its time.
#pragma once

namespace talu {

// From the first call on, for the life of the process, in which this module must stay loaded. Does
// nothing where Media Foundation is made otherwise than Wine's. Any thread.
void ReuseMediaBuffers();

}  // namespace talu
