#include "link/backup_socket_client.h"

#include "paths/global_function.h"

using namespace rampart;

namespace {

constexpr int kAddressBuffer = 260;  // characters

}  // namespace

BackupSocketClient::~BackupSocketClient() {
    DisconnectFromServer();
}

void BackupSocketClient::InitSocketClient(int index) {
    Guarded(_T("Error: InitSocketClient"), [&] {
        SocketUtilities::InitWinSock();
        SocketUtilities::GetLocalAddress(m_strLocalAddress.GetBuffer(kAddressBuffer), kAddressBuffer);
        m_strLocalAddress.ReleaseBuffer();
        m_socket.SetServerMode(false);
        m_socket.SetSocketIndex(index);
    });
}

bool BackupSocketClient::ConnectToServer() {
    return Guarded(_T("Error: ConnectToServer"), false, [&] {
        CString port;
        port.Format(_T("%d"), m_nPort);
        if (!m_socket.ConnectToServer(m_strLocalAddress, port, SocketCommunication::kAddressFamily,
                                      SocketCommunication::kStream)) {
            return false;
        }
        m_socket.AddObserver(this);  // before the start, so that no message is missed; once is enough
        if (m_socket.Start()) {
            SockAddrIn peer;
            m_socket.GetPeerName(peer);
            // Of threads that connect together each may find that it has started the connection.
            CKorvaneAutoLock lock(&m_peerLock, _T("ConnectToServer"), 0);
            m_peerAddress = std::move(peer);
        }
        return true;
    });
}

void BackupSocketClient::DisconnectFromServer() {
    if (m_socket.ReInitSocketCommunition()) {
        SetWaitResultEvent();  // of a connection that was not started yet nobody else tells the end
        SocketUtilities::CleanWinSock();
    }
}

int BackupSocketClient::SendBuffer(unsigned char* const buffer, int size) {
    CKorvaneAutoLock lock(&m_sendLock, _T("SendBuffer"), 0);
    if (!m_socket.IsValid()) {
        return 0;
    }
    const int length = std::max(size, 0);
    // A message that was refused is an error at once: no reply to it will come.
    return m_socket.WriteData(buffer, length, kWaitForever, length) || !m_socket.IsValid();
}

void BackupSocketClient::SocketEvent(SocketEventParams*) {
    CKorvaneAutoLock lock(&m_sendLock, _T("SocketEvent"), 0);
    SetWaitResultEvent();
    m_socket.ReInitSocketCommunition();
    InvalidateConnection();
}

int BackupSocketClient::IsBackupServiceRunnin() {
    return GlobalFunction::IsBackupServiceRunning();
}
