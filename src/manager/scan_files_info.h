// What the wait loop of a host shows while a source is measured.
#pragma once

#include "framework/framework.h"

struct VAULTLIB_API SCANFILESINFO {
    CString m_size;   // formatted
    CString m_count;  // decimal
    CString m_path;   // folder now scanned
};
