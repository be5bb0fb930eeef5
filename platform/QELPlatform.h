// Common definitions of the host platform interface.
//
// The plug-in is compiled against these headers and linked against the host
// runtime (libqelhost.so), which implements them. Everything declared with
// QEL_PLATFORM_API is defined in the host runtime and keeps default
// visibility, so that a plug-in built with hidden visibility still shares
// one copy of each host class (type information, virtual tables) with the
// host that loads it.
#pragma once

#define QEL_PLATFORM_API __attribute__((visibility("default")))
