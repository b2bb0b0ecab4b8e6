#include "session.h"

#include "person.h"

namespace rampart::cli {

EngineSession::EngineSession(CommonOptions const& common, bool mayCreate)
    : host::EngineSession(common.vault, mayCreate, &AnswerQuestion) {
    if (common.yes || common.no) {
        SetAnswers(common.yes ? Answers::kYes : Answers::kNo);
        // Nobody is there who could make room, so a yes would be asked for again without an end.
        m_spaceAlertNoteOnly = common.yes ? 1 : 0;
    }
}

}  // namespace rampart::cli
