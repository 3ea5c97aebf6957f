// Preloaded into a program, this makes every name server one that never responds.

#include <netdb.h>
#include <unistd.h>

extern "C" int getaddrinfo(const char* /*node*/, const char* /*service*/,
                           const struct addrinfo* /*hints*/, struct addrinfo** /*found*/) {
    while (true) {
        pause();
    }
}
