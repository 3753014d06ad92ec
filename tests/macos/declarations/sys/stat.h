// As sys/socket.h beside it.
#pragma once

#include_next <sys/stat.h>

#define st_mtimespec st_mtim
