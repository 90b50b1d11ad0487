#include "platform/crypto/key_pair.h"

#include "platform/file/text_file.h"
#include "platform/file/unique_fd.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <utility>

namespace platform {

namespace {

/// False when a certificate is malformed, or memory is short.
bool read_chain(PemReader& reader, Certificates& chain)
{
    while (auto next = reader.next_certificate()) {
        if (!chain)
            chain.reset(sk_X509_new_null());
        if (!chain || sk_X509_push(chain.get(), next.get()) == 0)
            return false;
        static_cast<void>(next.release()); // the stack has it
    }
    return reader.has_ended();
}

} // namespace

std::optional<KeyPair> parse_key_pair(std::string pem)
{
    PemReader reader(std::move(pem));
    KeyPair pair;
    pair.certificate = reader.next_certificate();
    if (!pair.certificate || !read_chain(reader, pair.chain))
        return std::nullopt;
    pair.key = reader.first_key();
    if (!pair.key || X509_check_private_key(pair.certificate.get(), pair.key.get()) != 1)
        return std::nullopt;
    return pair;
}

std::optional<KeyPair> read_key_pair(const std::string& path)
{
    const UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat found {};
    if (!fd.valid() || ::fstat(fd.get(), &found) != 0 || !S_ISREG(found.st_mode) ||
        found.st_size > static_cast<off_t>(largest_text_file))
        return std::nullopt;
    // Read in place: a buffer on the way would keep the key.
    std::string pem(static_cast<std::size_t>(found.st_size), '\0');
    if (::read(fd.get(), pem.data(), pem.size()) != found.st_size)
        return std::nullopt;
    return parse_key_pair(std::move(pem));
}

} // namespace platform
