#pragma once

// How often this program's code has called `stat`, which the linker wraps for it.
extern int statCalls;
