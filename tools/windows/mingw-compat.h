// What ggml takes from newer Windows headers than mingw-w64 10 has. Included ahead of each of its sources.
#pragma once

#ifndef THREAD_POWER_THROTTLING_CURRENT_VERSION
#define THREAD_POWER_THROTTLING_CURRENT_VERSION 1
#define THREAD_POWER_THROTTLING_EXECUTION_SPEED 0x1
typedef struct _THREAD_POWER_THROTTLING_STATE {
    unsigned long Version, ControlMask, StateMask;
} THREAD_POWER_THROTTLING_STATE;
#endif
