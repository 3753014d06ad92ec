// As sys/socket.h beside it.
#pragma once

#include_next <unistd.h>

extern "C" int getpeereid(int socket, uid_t* user, gid_t* group);

#pragma GCC poison pipe2 dup3 execvpe
