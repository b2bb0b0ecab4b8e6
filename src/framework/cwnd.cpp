#include "framework/cwnd.h"

CWnd::~CWnd() = default;
