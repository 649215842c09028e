#include "preferences/RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "preferences/Owner.h"

namespace
{

/// A file's length is no measure of what it holds, as it may have holes: beyond this the text grows as it is read.
constexpr size_t maxReserved = 1 << 26;

/// Room for what the parser's padding adds, without another allocation.
constexpr size_t spareBytes = 16;

bool isRegular(int descriptor, struct stat& status)
{
    if (fstat(descriptor, &status) != 0)
        return false;
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return S_ISREG(status.st_mode);
}

/// Opens without blocking, as a pipe would wait for a writer. A file under a lease can be opened only by waiting: it is
/// opened again through a descriptor, behind which nobody can put a pipe in its place.
Descriptor openRegularFile(const char* path, struct stat& status)
{
    Descriptor file(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file && errno == EWOULDBLOCK)
    {
        const Descriptor held(open(path, O_PATH | O_CLOEXEC));
        if (!held || !isRegular(held.get(), status))
            return {};
        const std::string again = "/proc/self/fd/" + std::to_string(held.get());
        file = Descriptor(open(again.c_str(), O_RDONLY | O_CLOEXEC));
    }
    if (!file || !isRegular(file.get(), status))
        return {};
    return file;
}

}

std::optional<std::string> ostrivane::readRegularFile(const std::string& path)
{
    struct stat status = {};
    const Descriptor file = openRegularFile(path.c_str(), status);
    if (!file)
        return std::nullopt;
    std::string text;
    text.reserve(std::min(static_cast<size_t>(status.st_size) + spareBytes, maxReserved));
    char block[1 << 16];
    while (true)
    {
        const ssize_t count = read(file.get(), block, sizeof block);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return std::nullopt;
        const auto* const end = static_cast<const char*>(memchr(block, '\0', static_cast<size_t>(count)));
        text.append(static_cast<const char*>(block), end ? end + 1 : block + count);
        if (count == 0 || end)
            return text;
    }
}
