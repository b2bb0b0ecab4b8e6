#include "framework/cwin_app.h"

CWinApp::CWinApp(LPCTSTR name) : m_strAppName(name) {
    m_bAutoDelete = FALSE;
    m_nThreadID = rampart::CurrentThreadId();
}
