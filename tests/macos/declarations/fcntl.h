// As sys/socket.h beside it.
#pragma once

#include_next <fcntl.h>

#define F_FULLFSYNC 51
