// Preloaded into a program, this library makes every look-up of a host's name hang.

#include <netdb.h>
#include <unistd.h>

extern "C" int getaddrinfo(const char* /*node*/, const char* /*service*/,
                           const struct addrinfo* /*hints*/, struct addrinfo** /*found*/) {
    while (true) {
        pause();
    }
}
