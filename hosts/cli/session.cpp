#include "session.h"

#include "person.h"

namespace rampart::cli {

EngineSession::EngineSession(CommonOptions const& common, bool mayCreate)
    : host::EngineSession(common.vault, mayCreate, &AnswerQuestion) {
    if (common.yes || common.no) {
        SetAnswers(common.yes ? Answers::kYes : Answers::kNo);
    }
}

}  // namespace rampart::cli
