// SPDX-License-Identifier: MIT
//
// Stands for the header of another Objective-C runtime, which GNUstep asks for once blocks are on. The two functions
// are those of libBlocksRuntime, which must be linked before GNUstep: that one's own do not copy clang's blocks.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif
void* _Block_copy(const void* block);
void _Block_release(const void* block);
#ifdef __cplusplus
}
#endif

#ifndef Block_copy
#define Block_copy(...) ((__typeof(__VA_ARGS__))_Block_copy((const void*)(__VA_ARGS__)))
#define Block_release(...) _Block_release((const void*)(__VA_ARGS__))
#endif
