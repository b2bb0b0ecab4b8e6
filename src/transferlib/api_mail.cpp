// Mail of the interface: composed here, delivered by whoever empties the service's outbox.
#include "interfaces/baselib.h"
#include "interfaces/transferlib.h"
#include "platform/clock.h"
#include "transferlib/mail_text.h"
#include "transferlib/service_connection.h"

using namespace rampart;

namespace {

constexpr char kMailHost[] = "rampart.localhost";

}  // namespace

int ApiUtil::SendEmail(CString& recipient, CString& subject, CString& body, CString html) {
    return WithService(_T("Error: SendEmail"), nullptr, [&](ServiceConnection& connection) {
        if (recipient.IsEmpty()) {
            return ServiceResult(kInvalidRequest, "the mail has no recipient");
        }
        const CString sender = DictUtil::GetConfigString(_T("Mail"), _T("Sender"), _T(""), _T(""));
        MailParts parts;
        parts.from = sender.IsEmpty() ? std::string("rampart@") + kMailHost : sender.ToUtf8();
        parts.recipient = recipient.ToUtf8();
        parts.subject = subject.ToUtf8();
        parts.body = body.ToUtf8();
        parts.isHtml = html.CompareNoCase(_T("true")) == 0;
        parts.timeSeconds = platform::NowSeconds();
        CString id = CreateGUID();
        id.Trim(_T("{}"));
        parts.messageId = id.ToUtf8() + "@" + kMailHost;
        return connection.Service().QueueMail(ComposeMail(parts));
    });
}
