#include "platform/crypto/secret_key.h"

#include "platform/file/unique_fd.h"

#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace platform {

namespace {

text::Failure failure(const std::string& path, const std::string& why)
{
    return {"key file " + path + ": " + why};
}

} // namespace

void SecretKey::wipe()
{
    OPENSSL_cleanse(m_bytes.data(), m_bytes.size());
}

text::Result<SecretKey> read_key_file(const std::string& path)
{
    const UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat found {};
    if (!fd.valid() || ::fstat(fd.get(), &found) != 0)
        return failure(path, std::strerror(errno));
    if (!S_ISREG(found.st_mode))
        return failure(path, "not a regular file");
    if ((found.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        return failure(path, "group or others may use it (wanted mode 0600)");
    if (found.st_size != static_cast<off_t>(SecretKey::size))
        return failure(path, "holds " + std::to_string(found.st_size) + " bytes, not " +
                                 std::to_string(SecretKey::size));
    SecretKey key;
    if (::read(fd.get(), key.data(), SecretKey::size) != static_cast<ssize_t>(SecretKey::size))
        return failure(path, std::strerror(errno));
    return key;
}

text::Outcome create_key_file(const std::string& path)
{
    SecretKey key;
    if (RAND_bytes(key.data(), static_cast<int>(SecretKey::size)) != 1)
        return text::Failure{"no randomness for a key"};
    const UniqueFd fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    const bool written =
        fd.valid() &&
        ::write(fd.get(), key.data(), SecretKey::size) == static_cast<ssize_t>(SecretKey::size) &&
        ::fsync(fd.get()) == 0;
    if (written)
        return text::done();
    auto why = failure(path, std::strerror(errno));
    if (fd.valid())
        ::unlink(path.c_str());
    return why;
}

} // namespace platform
