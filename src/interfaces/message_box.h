// What the engine asks a host's message box, and what the host answers.
#pragma once

namespace rampart {

enum BoxStyle : unsigned int {
    kBoxNote = 0,  // a note without a choice
    kBoxOkCancel = 1,
    kBoxYesNo = 4,
    kBoxRetryCancel = 5,
    kBoxNoRoom = 105,       // yes or no: the storage is full
    kBoxShortOfRoom = 108,  // yes or no: the storage has not enough room
};

enum BoxAnswer : int {
    kAnswerNone = 0,
    kAnswerOk = 1,
    kAnswerCancel = 2,
    kAnswerRetry = 4,
    kAnswerYes = 6,
    kAnswerNo = 7
};

}  // namespace rampart
