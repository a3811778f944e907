// SPDX-License-Identifier: MIT
#include <qz/SystemError.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

namespace qz {

namespace {

// By number, from 0. The gaps have no name, and so has 95: callers know it unnamed.
constexpr const char* kNames[] = {nullptr,
                                  "EPERM",
                                  "ENOENT",
                                  "ESRCH",
                                  "EINTR",
                                  "EIO",
                                  "ENXIO",
                                  "E2BIG",
                                  "ENOEXEC",
                                  "EBADF",
                                  "ECHILD",
                                  "EAGAIN/EWOULDBLOCK",
                                  "ENOMEM",
                                  "EACCES",
                                  "EFAULT",
                                  "ENOTBLK",
                                  "EBUSY",
                                  "EEXIST",
                                  "EXDEV",
                                  "ENODEV",
                                  "ENOTDIR",
                                  "EISDIR",
                                  "EINVAL",
                                  "ENFILE",
                                  "EMFILE",
                                  "ENOTTY",
                                  "ETXTBSY",
                                  "EFBIG",
                                  "ENOSPC",
                                  "ESPIPE",
                                  "EROFS",
                                  "EMLINK",
                                  "EPIPE",
                                  "EDOM",
                                  "ERANGE",
                                  "EDEADLK/EDEADLOCK",
                                  "ENAMETOOLONG",
                                  "ENOLCK",
                                  "ENOSYS",
                                  "ENOTEMPTY",
                                  "ELOOP",
                                  nullptr,
                                  "ENOMSG",
                                  "EIDRM",
                                  "ECHRNG",
                                  "EL2NSYNC",
                                  "EL3HLT",
                                  "EL3RST",
                                  "ELNRNG",
                                  "EUNATCH",
                                  "ENOCSI",
                                  "EL2HLT",
                                  "EBADE",
                                  "EBADR",
                                  "EXFULL",
                                  "ENOANO",
                                  "EBADRQC",
                                  "EBADSLT",
                                  nullptr,
                                  "EBFONT",
                                  "ENOSTR",
                                  "ENODATA",
                                  "ETIME",
                                  "ENOSR",
                                  "ENONET",
                                  "ENOPKG",
                                  "EREMOTE",
                                  "ENOLINK",
                                  "EADV",
                                  "ESRMNT",
                                  "ECOMM",
                                  "EPROTO",
                                  "EMULTIHOP",
                                  "EDOTDOT",
                                  "EBADMSG",
                                  "EOVERFLOW",
                                  "ENOTUNIQ",
                                  "EBADFD",
                                  "EREMCHG",
                                  "ELIBACC",
                                  "ELIBBAD",
                                  "ELIBSCN",
                                  "ELIBMAX",
                                  "ELIBEXEC",
                                  "EILSEQ",
                                  "ERESTART",
                                  "ESTRPIPE",
                                  "EUSERS",
                                  "ENOTSOCK",
                                  "EDESTADDRREQ",
                                  "EMSGSIZE",
                                  "EPROTOTYPE",
                                  "ENOPROTOOPT",
                                  "EPROTONOSUPPORT",
                                  "ESOCKTNOSUPPORT",
                                  nullptr,
                                  "EPFNOSUPPORT",
                                  "EAFNOSUPPORT",
                                  "EADDRINUSE",
                                  "EADDRNOTAVAIL",
                                  "ENETDOWN",
                                  "ENETUNREACH",
                                  "ENETRESET",
                                  "ECONNABORTED",
                                  "ECONNRESET",
                                  "ENOBUFS",
                                  "EISCONN",
                                  "ENOTCONN",
                                  "ESHUTDOWN",
                                  "ETOOMANYREFS",
                                  "ETIMEDOUT",
                                  "ECONNREFUSED",
                                  "EHOSTDOWN",
                                  "EHOSTUNREACH",
                                  "EALREADY",
                                  "EINPROGRESS",
                                  "ESTALE",
                                  "EUCLEAN",
                                  "ENOTNAM",
                                  "ENAVAIL",
                                  "EISNAM",
                                  "EREMOTEIO",
                                  "EDQUOT",
                                  "ENOMEDIUM",
                                  "EMEDIUMTYPE",
                                  "ECANCELED",
                                  "ENOKEY",
                                  "EKEYEXPIRED",
                                  "EKEYREVOKED",
                                  "EKEYREJECTED",
                                  "EOWNERDEAD",
                                  "ENOTRECOVERABLE",
                                  "ERFKILL",
                                  "EHWPOISON"};
static_assert(std::size(kNames) == 134);

std::string_view getName(int code)
{
    const bool isInTable = code >= 0 && code < static_cast<int>(std::size(kNames));
    const char* const name = isInTable ? kNames[code] : nullptr;
    return name != nullptr ? name : "UNKNOWN_ENUM";
}

// A carriage return alone stays; a pair with its line feed becomes one blank, like a line feed.
void joinLines(std::string& text)
{
    for (std::size_t at = text.find("\r\n"); at != std::string::npos; at = text.find("\r\n", at)) {
        text.replace(at, 2, " ");
    }
    std::replace(text.begin(), text.end(), '\n', ' ');
}

}  // namespace

std::string SystemError::toString() const
{
    std::string text = "(" + std::to_string(mCode) + ") ";
    text.append(getName(mCode)).append(" ").append(std::strerror(mCode));
    joinLines(text);
    return "System error : '" + text + "'";
}

}  // namespace qz
