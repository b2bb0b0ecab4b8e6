// A mail as it is sent: RFC 5322 with a MIME body.
#pragma once

#include <cstdint>
#include <string>

namespace rampart {

struct MailParts {
    std::string from;       // an address
    std::string recipient;  // addresses, separated by comma or semicolon
    std::string subject;
    std::string body;
    bool isHtml = false;
    int64_t timeSeconds = 0;  // UTC
    std::string messageId;    // without angle brackets
};

// All texts UTF-8. Line ends in addresses and subject become blanks, so that none of them adds a header.
std::string ComposeMail(const MailParts& parts);

}  // namespace rampart
