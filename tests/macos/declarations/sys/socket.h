// The header of the system that checks, made to look like the one of macOS: what only one of them has is added, or made
// an error to use.
#pragma once

#include_next <sys/socket.h>

#define SO_NOSIGPIPE 0x1022

#pragma GCC poison accept4 SOCK_CLOEXEC SOCK_NONBLOCK
