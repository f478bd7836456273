#include "lockdown.h"

#include <zel/platform/documents/protocol.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <iterator>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/landlock.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>
#include <vector>

// Two fences. Landlock lets files be read below the folders of fonts alone, which drawings need for their texts. The
// filter of system calls lets through what computing takes; anything else fails with EPERM, which libraries bear better
// than being ended. On kernels without Landlock no file is opened at all: texts then show the fonts that PDF files
// carry, and those of drawings stay away.
namespace zel::documents {
namespace {

#if defined(__x86_64__)
constexpr std::uint32_t machine = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr std::uint32_t machine = AUDIT_ARCH_AARCH64;
#else
#error "the filter of system calls does not know this machine"
#endif

bool allowReading(int rules, const char* folder)
{
    const int descriptor = ::open(folder, O_PATH | O_CLOEXEC);
    if (descriptor < 0)
        return true; // what is not there cannot be read
    landlock_path_beneath_attr beneath{};
    beneath.allowed_access = LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR;
    beneath.parent_fd = descriptor;
    const bool added = ::syscall(SYS_landlock_add_rule, rules, LANDLOCK_RULE_PATH_BENEATH, &beneath, 0U) == 0;
    ::close(descriptor);
    return added;
}

/// False where the kernel has no such fence.
bool fenceFiles()
{
    landlock_ruleset_attr handled{};
    handled.handled_access_fs = (LANDLOCK_ACCESS_FS_MAKE_SYM << 1U) - 1; // everything of the first version
    const long rules = ::syscall(SYS_landlock_create_ruleset, &handled, sizeof handled, 0U);
    if (rules < 0)
        return false;
    const int descriptor = static_cast<int>(rules);
    bool fenced = true;
    for (const char* folder :
         {"/usr/share/fonts", "/usr/local/share/fonts", "/usr/share/fontconfig", "/etc/fonts", "/var/cache/fontconfig"})
        fenced = fenced && allowReading(descriptor, folder);
    fenced = fenced && ::syscall(SYS_landlock_restrict_self, descriptor, 0U) == 0;
    ::close(descriptor);
    return fenced;
}

constexpr sock_filter statement(unsigned code, std::uint32_t value)
{
    return {static_cast<std::uint16_t>(code), 0, 0, value};
}
constexpr sock_filter skipUnless(unsigned comparison, std::uint32_t value, std::uint8_t count)
{
    return {static_cast<std::uint16_t>(BPF_JMP | comparison | BPF_K), 0, count, value};
}

constexpr std::uint32_t lowHalfOf(unsigned argument)
{
    return static_cast<std::uint32_t>(offsetof(seccomp_data, args) + argument * sizeof(std::uint64_t));
}
constexpr auto load = static_cast<unsigned>(BPF_LD | BPF_W | BPF_ABS);
constexpr auto give = static_cast<unsigned>(BPF_RET | BPF_K);

class Filter {
public:
    Filter()
    {
        add(statement(load, offsetof(seccomp_data, arch)));
        add({static_cast<std::uint16_t>(BPF_JMP | BPF_JEQ | BPF_K), 1, 0, machine});
        add(statement(give, SECCOMP_RET_KILL_PROCESS));
        add(statement(load, offsetof(seccomp_data, nr)));
    }
    void allow(long call)
    {
        add(skipUnless(BPF_JEQ, static_cast<std::uint32_t>(call), 1));
        add(statement(give, SECCOMP_RET_ALLOW));
    }
    void answer(long call, int error)
    {
        add(skipUnless(BPF_JEQ, static_cast<std::uint32_t>(call), 1));
        add(statement(give, SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(error)));
    }
    /// Where all (`set`) or none of the bits of an argument are on.
    void allowByBits(long call, unsigned argument, std::uint32_t bits, bool set)
    {
        add(skipUnless(BPF_JEQ, static_cast<std::uint32_t>(call), 4));
        add(statement(load, lowHalfOf(argument)));
        add({static_cast<std::uint16_t>(BPF_JMP | BPF_JSET | BPF_K), static_cast<std::uint8_t>(set ? 0 : 1),
             static_cast<std::uint8_t>(set ? 1 : 0), bits});
        add(statement(give, SECCOMP_RET_ALLOW));
        add(statement(give, SECCOMP_RET_ERRNO | EPERM));
    }
    bool install()
    {
        add(statement(give, SECCOMP_RET_ERRNO | EPERM));
        sock_fprog program{static_cast<unsigned short>(code_.size()), code_.data()};
        return ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
    }

private:
    void add(sock_filter line) { code_.push_back(line); }
    std::vector<sock_filter> code_;
};

bool fenceCalls(bool filesAreFenced)
{
    Filter filter;
    for (const long call : {SYS_read,
                            SYS_pread64,
                            SYS_readv,
                            SYS_recvfrom,
                            SYS_recvmsg,
                            SYS_sendto,
                            SYS_sendmsg,
                            SYS_write,
                            SYS_close,
                            SYS_lseek,
                            SYS_fstat,
                            SYS_mmap,
                            SYS_munmap,
                            SYS_mremap,
                            SYS_mprotect,
                            SYS_madvise,
                            SYS_brk,
                            SYS_futex,
                            SYS_clock_gettime,
                            SYS_clock_getres,
                            SYS_clock_nanosleep,
                            SYS_nanosleep,
                            SYS_gettimeofday,
                            SYS_getrandom,
                            SYS_getpid,
                            SYS_gettid,
                            SYS_rt_sigaction,
                            SYS_rt_sigprocmask,
                            SYS_rt_sigreturn,
                            SYS_sigaltstack,
                            SYS_sched_yield,
                            SYS_sched_getaffinity,
                            SYS_sched_getparam,
                            SYS_sched_getscheduler,
                            SYS_getrusage,
                            SYS_setrlimit,
                            SYS_getrlimit,
                            SYS_prlimit64,
                            SYS_exit,
                            SYS_exit_group,
                            SYS_set_robust_list,
                            SYS_rseq,
                            SYS_restart_syscall,
                            SYS_ppoll,
                            SYS_uname,
                            SYS_sysinfo,
                            SYS_getuid,
                            SYS_geteuid,
                            SYS_getgid,
                            SYS_getegid,
                            SYS_membarrier})
        filter.allow(call);
    // Threads, but no processes. What hides its flags in memory fails as on old kernels, whereupon libraries use clone.
    filter.allowByBits(SYS_clone, 0, CLONE_THREAD, true);
    filter.answer(SYS_clone3, ENOSYS);
    if (filesAreFenced) {
        filter.allowByBits(SYS_openat, 2, O_WRONLY | O_RDWR | O_CREAT | O_TRUNC, false);
        for (const long call : {SYS_newfstatat, SYS_statx, SYS_statfs, SYS_fstatfs, SYS_faccessat, SYS_faccessat2,
                                SYS_readlinkat, SYS_getdents64, SYS_getcwd, SYS_fcntl, SYS_fadvise64})
            filter.allow(call);
#if defined(__x86_64__)
        filter.allowByBits(SYS_open, 1, O_WRONLY | O_RDWR | O_CREAT | O_TRUNC, false);
        for (const long call : {SYS_stat, SYS_lstat, SYS_access, SYS_readlink, SYS_poll})
            filter.allow(call);
#endif
    }
    return filter.install();
}

} // namespace

bool lockDown(std::uint64_t bytes)
{
    if (::syscall(SYS_close_range, rowsDescriptor + 1, ~0U, 0U) != 0)
        return false;
#if !defined(ZEL_WIDE_ADDRESSES)
    // What a program takes anyway: the address space of libraries, stacks and tables.
    constexpr std::uint64_t common = std::uint64_t{1} << 30U;
    const rlimit space{common + bytes, common + bytes};
    if (::setrlimit(RLIMIT_AS, &space) != 0)
        return false;
#else
    static_cast<void>(bytes); // sanitizers set aside more than any limit
#endif
    const rlimit none{0, 0};
    if (::setrlimit(RLIMIT_CORE, &none) != 0 || ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0)
        return false;
    return fenceCalls(fenceFiles());
}

void allowSeconds(std::uint64_t seconds)
{
    if (seconds == 0)
        return;
    rusage used{};
    ::getrusage(RUSAGE_SELF, &used);
    rlimit limit{};
    ::getrlimit(RLIMIT_CPU, &limit);
    limit.rlim_cur = static_cast<rlim_t>(used.ru_utime.tv_sec + used.ru_stime.tv_sec) + 2 + seconds;
    ::setrlimit(RLIMIT_CPU, &limit);
}

} // namespace zel::documents
