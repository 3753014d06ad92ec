// The system that checks has this flag, the one that is meant has not.
#include <sys/socket.h>

int makeSocket() { return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0); }
