#include <zel/platform/documents/helper.h>

#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/modules.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

// The shared memory of the rows is sealed against shrinking, so that reading it cannot fault whatever the process does.
// The process is ended through a descriptor of its own where the kernel has them: a number could by then be another's.
namespace zel::documents {
namespace {

constexpr std::string_view programOf(Kind kind)
{
    return kind == Kind::pdf ? "zel-documents" : "zel-drawings";
}

constexpr std::uint64_t usualMemory = memoryFor(1); // for all but rows that are longer than a band

constexpr std::string_view package = "libzelimaging-documents0";

struct ChosenProgram {
    std::mutex mutex;
    std::string path;
};

ChosenProgram& chosen()
{
    static ChosenProgram& program = *new ChosenProgram; // never destroyed, like what may be asked at the very end
    return program;
}

/// Absent, noted, where there is none.
std::optional<std::string> programPath(Kind kind, std::string_view operation)
{
    const std::scoped_lock lock(chosen().mutex);
    if (!chosen().path.empty())
        return chosen().path;
    if (auto installed = installedProgram(programOf(kind)))
        return installed;
    return fail(ZelFailureCode::missingPart, operation,
                fmt::format("{} is not installed: install the package {}", programOf(kind), package));
}

std::nullptr_t broken(std::string_view operation, std::string_view what)
{
    fail(ZelFailureCode::unreadable, operation, fmt::format("{}: {}", what, std::strerror(errno)));
    return nullptr;
}

void closeDescriptor(int& descriptor)
{
    if (descriptor >= 0)
        ::close(descriptor);
    descriptor = -1;
}

/// Closes in the end.
struct Descriptor {
    int number = -1;
    Descriptor() = default;
    ~Descriptor() { closeDescriptor(number); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
};

bool writeAll(int file, std::span<const std::uint8_t> bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(file, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

/// The descriptors stand where the program looks for them. Each is first moved out of the way of the places.
class Actions {
public:
    Actions() { ready_ = posix_spawn_file_actions_init(&actions_) == 0; }
    ~Actions()
    {
        if (ready_)
            posix_spawn_file_actions_destroy(&actions_);
    }
    Actions(const Actions&) = delete;
    Actions& operator=(const Actions&) = delete;
    void open(int place) { add(posix_spawn_file_actions_addopen(&actions_, place, "/dev/null", O_RDWR, 0)); }
    void place(int from, int to) { add(posix_spawn_file_actions_adddup2(&actions_, from, to)); }
    [[nodiscard]] const posix_spawn_file_actions_t* get() const { return ready_ ? &actions_ : nullptr; }

private:
    void add(int error) { ready_ = ready_ && error == 0; }
    posix_spawn_file_actions_t actions_{};
    bool ready_ = false;
};

/// A copy of the descriptor beyond those that the program is given.
int moved(int descriptor)
{
    return ::fcntl(descriptor, F_DUPFD_CLOEXEC, rowsDescriptor + 1);
}

int spawn(const std::string& program, std::array<std::string, argumentCount> arguments, int bytes, int socket, int rows,
          pid_t& process)
{
    std::string name = program;
    std::array<char*, argumentCount + 2> words{name.data()};
    for (std::size_t i = 0; i < arguments.size(); ++i)
        words[i + 1] = arguments[i].data();
    // Nothing of the host's environment: it may name modules, folders, displays.
    // Pages are large pieces of memory, which huge pages give without a fault for each 4 KiB: pieces up to 32 MiB lie
    // in the heap, which grows by whole huge pages, where a mapping for each would begin and end with small ones.
    std::array<std::string, 4> settings = {
        "LC_CTYPE=C.UTF-8", "QT_LOGGING_RULES=*=false",
        "G_MESSAGES_DEBUG=", "GLIBC_TUNABLES=glibc.malloc.hugetlb=1:glibc.malloc.mmap_threshold=33554432"};
    std::array<char*, settings.size() + 1> environment{};
    std::transform(settings.begin(), settings.end(), environment.begin(),
                   [](std::string& text) { return text.data(); });
    Actions actions;
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        actions.open(standard);
    actions.place(bytes, bytesDescriptor);
    actions.place(socket, socketDescriptor);
    actions.place(rows, rowsDescriptor);
    if (actions.get() == nullptr)
        return ENOMEM;
    // What the host's threads block or ignore is none of the program's business.
    posix_spawnattr_t attributes;
    if (const int error = posix_spawnattr_init(&attributes); error != 0)
        return error;
    sigset_t none, defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    for (const int signal : {SIGTERM, SIGXCPU, SIGPIPE, SIGSEGV, SIGABRT})
        sigaddset(&defaults, signal);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    // A group of its own: an interrupt from the keyboard is for the host to handle.
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(
        &attributes, static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP));
    const int error =
        posix_spawn(&process, program.c_str(), actions.get(), &attributes, words.data(), environment.data());
    posix_spawnattr_destroy(&attributes);
    return error;
}

} // namespace

void useProgram(const std::string& path)
{
    const std::scoped_lock lock(chosen().mutex);
    chosen().path = path;
}

bool isInstalled(Kind kind, std::string_view operation)
{
    return programPath(kind, operation).has_value();
}

std::optional<Reply> checkedReply(std::span<const std::uint8_t> message, const Request& request)
{
    Reply reply;
    if (message.size() != sizeof reply)
        return std::nullopt;
    // As a number first: an enumeration must not hold just anything.
    std::uint32_t status = 0;
    std::memcpy(&status, message.data() + offsetof(Reply, status), sizeof status);
    if (status > static_cast<std::uint32_t>(Status::noPage))
        return std::nullopt;
    std::memcpy(&reply, message.data(), sizeof reply);
    const auto isLength = [](double value) { return std::isfinite(value) && value >= 0; };
    if (reply.version != version || reply.pages < 0 || !isLength(reply.pointWidth) || !isLength(reply.pointHeight))
        return std::nullopt;
    if (reply.status == Status::done && request.width > 0 &&
        (reply.width != request.width || reply.height != request.height))
        return std::nullopt;
    return reply;
}

std::unique_ptr<SharedBytes> SharedBytes::of(std::span<const std::uint8_t> bytes, std::string_view operation)
{
    std::unique_ptr<SharedBytes> shared(new SharedBytes);
    shared->descriptor_ = ::memfd_create("document", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    shared->size_ = bytes.size();
    if (shared->descriptor_ < 0 || !writeAll(shared->descriptor_, bytes) ||
        ::fcntl(shared->descriptor_, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL) != 0)
        return broken(operation, "no memory to hand the document on");
    return shared;
}

SharedBytes::~SharedBytes()
{
    closeDescriptor(descriptor_);
}

bool Helper::makeMemory()
{
    memory_ = ::memfd_create("rows", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    return memory_ >= 0 && ::fcntl(memory_, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_SEAL) == 0;
}

bool Helper::growMemory(std::uint64_t bytes)
{
    if (bytes <= rows_.size())
        return true;
    if (::ftruncate(memory_, static_cast<off_t>(bytes)) != 0)
        return false;
    // The pages of memory are made here and now, while the process starts, and not when it writes its rows.
    void* memory = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, memory_, 0);
    if (memory == MAP_FAILED)
        return false;
    if (!rows_.empty())
        ::munmap(rows_.data(), rows_.size());
    rows_ = {static_cast<std::uint8_t*>(memory), bytes};
    return true;
}

std::unique_ptr<Helper> Helper::over(int socket)
{
    std::unique_ptr<Helper> helper(new Helper);
    helper->socket_ = socket;
    return helper->makeMemory() && helper->growMemory(usualMemory) ? std::move(helper) : nullptr;
}

std::unique_ptr<Helper> Helper::start(Kind kind, const SharedBytes& bytes, std::string_view operation)
{
    const std::optional<std::string> program = programPath(kind, operation);
    if (!program)
        return nullptr;
    std::unique_ptr<Helper> helper(new Helper);
    if (!helper->makeMemory())
        return broken(operation, "no memory for rows");
    std::array<int, 2> ends = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
        return broken(operation, "no socket");
    helper->socket_ = ends[0];
    Descriptor far, given[3];
    far.number = ends[1];
    given[0].number = moved(bytes.descriptor());
    given[1].number = moved(far.number);
    given[2].number = moved(helper->memory_);
    if (std::any_of(std::begin(given), std::end(given), [](const Descriptor& one) { return one.number < 0; }))
        return broken(operation, "no descriptor");

    const ZelLimits limits = ZelLimits::current();
    // The document, a page, and what is decoded on the way.
    constexpr std::uint64_t most = std::uint64_t{1} << 44;
    const std::uint64_t space = std::min(bytes.size() + 2 * std::min(limits.decodeBytes, most), most);
    const auto seconds = std::max<std::int64_t>(0, (limits.decodeTime.count() + 999) / 1000);
    pid_t process = -1;
    const int error = spawn(*program, {std::to_string(space), std::to_string(seconds)}, given[0].number,
                            given[1].number, given[2].number, process);
    if (error != 0) {
        fail(ZelFailureCode::missingPart, operation,
             fmt::format("cannot run {}: {}; it belongs to the package {}", *program, std::strerror(error), package));
        return nullptr;
    }
    helper->process_ = process;
    helper->processDescriptor_ = static_cast<int>(::syscall(SYS_pidfd_open, process, 0U));
    if (!helper->growMemory(usualMemory))
        return broken(operation, "no memory for rows");
    return helper;
}

void Helper::end()
{
    if (process_ <= 0)
        return;
    if (processDescriptor_ >= 0)
        ::syscall(SYS_pidfd_send_signal, processDescriptor_, SIGKILL, nullptr, 0U);
    else
        ::kill(process_, SIGKILL);
}

Helper::~Helper()
{
    end();
    if (process_ > 0) {
        int status = 0;
        while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {}
    }
    if (!rows_.empty())
        ::munmap(rows_.data(), rows_.size());
    closeDescriptor(processDescriptor_);
    closeDescriptor(socket_);
    closeDescriptor(memory_);
}

bool Helper::ask(const Request& request)
{
    return (request.width < 1 || growMemory(memoryFor(request.width))) &&
           ::send(socket_, &request, sizeof request, MSG_NOSIGNAL) == static_cast<ssize_t>(sizeof request);
}

std::span<const std::uint8_t> Helper::band(const Request& request) const
{
    return rows_.subspan(bandOffset(request.width, request.band), bandOffset(request.width, 1));
}

Helper::Wait Helper::answer(const Request& request, const Deadline& deadline, Reply& reply)
{
    constexpr int slice = 50; // milliseconds between looks at the clock
    pollfd end{socket_, POLLIN, 0};
    for (;;) {
        const int ready = ::poll(&end, 1, slice);
        if (ready > 0)
            break;
        if (ready < 0 && errno != EINTR)
            return Wait::gone;
        if (deadline.passed())
            return Wait::tooLong;
    }
    std::array<std::uint8_t, sizeof(Reply) + 1> message{}; // one more, so that too long a message shows
    const ssize_t length = ::recv(socket_, message.data(), message.size(), MSG_DONTWAIT);
    if (length <= 0)
        return Wait::gone;
    const auto checked = checkedReply(std::span(message).first(static_cast<std::size_t>(length)), request);
    if (!checked)
        return Wait::gone;
    reply = *checked;
    return Wait::answered;
}

} // namespace zel::documents
