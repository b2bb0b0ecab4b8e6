#include "interfaces/baselib.h"

CActionList::~CActionList() {
    RemoveAllActions();
}

void CActionList::AddAction(ActionInfo* action) {
    std::lock_guard lock(m_mutex);
    m_actions.AddTail(action);
}

void CActionList::AddHeadAction(ActionInfo* action) {
    std::lock_guard lock(m_mutex);
    m_actions.AddHead(action);
}

int CActionList::HaveAction() const {
    std::lock_guard lock(m_mutex);
    return m_actions.IsEmpty() ? 0 : 1;
}

int CActionList::GetActionList(CPtrList& out) {
    std::lock_guard lock(m_mutex);
    const int count = static_cast<int>(m_actions.GetCount());
    out.AddTail(&m_actions);
    m_actions.RemoveAll();
    return count;
}

void CActionList::RemoveAllActions() {
    CPtrList taken;
    {
        std::lock_guard lock(m_mutex);
        taken.Swap(m_actions);
    }
    RemoveMemOfActList(taken);
}

void CActionList::RemoveMemOfActList(CPtrList& actions) {
    while (!actions.IsEmpty()) {
        // The list holds plain pointers, so this is where their ownership ends.
        const std::unique_ptr<ActionInfo> action(static_cast<ActionInfo*>(actions.RemoveHead()));
    }
}
