// Preloaded, it is a name server that never answers.

#include <netdb.h>
#include <unistd.h>

extern "C" int getaddrinfo(const char* /*node*/, const char* /*service*/,
                           const struct addrinfo* /*hints*/, struct addrinfo** /*found*/) {
    while (true) {
        pause();
    }
}
