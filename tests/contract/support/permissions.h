// Makes a process of root obey permissions, so that tests can have unreadable folders.

#pragma once

#include <array>
#include <stdexcept>

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace contract {

// Removes this process's right to override permissions for the lifetime of the object.
class ObeyPermissions {
public:
    ObeyPermissions() {
        Call(SYS_capget, m_before);
        Sets sets = m_before;
        sets[0].effective &= ~(Bit(CAP_DAC_OVERRIDE) | Bit(CAP_DAC_READ_SEARCH));
        Call(SYS_capset, sets);
    }
    ~ObeyPermissions() {
        __user_cap_header_struct header = Header();
        syscall(SYS_capset, &header, m_before.data());
    }
    ObeyPermissions(const ObeyPermissions&) = delete;
    ObeyPermissions& operator=(const ObeyPermissions&) = delete;
    ObeyPermissions(ObeyPermissions&&) = delete;
    ObeyPermissions& operator=(ObeyPermissions&&) = delete;

private:
    using Sets = std::array<__user_cap_data_struct, 2>;

    static __user_cap_header_struct Header() { return {_LINUX_CAPABILITY_VERSION_3, 0}; }
    static __u32 Bit(unsigned int capability) { return __u32{1} << capability; }
    static void Call(long number, Sets& sets) {
        __user_cap_header_struct header = Header();
        if (syscall(number, &header, sets.data()) != 0) {
            throw std::runtime_error("can't drop capabilities");
        }
    }

    Sets m_before{};
};

} // namespace contract
