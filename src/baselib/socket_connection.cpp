#include "framework/guarded.h"
#include "framework/observer_calls.h"
#include "interfaces/sockets.h"

using namespace rampart;

ManageSocketObserver::ManageSocketObserver()
    : m_observers(std::make_unique<ObserverCalls<SocketObserver>>(m_list)) {}

ManageSocketObserver::~ManageSocketObserver() = default;

bool ManageSocketObserver::AddObserver(SocketObserver* observer) {
    return Guarded(_T("Error: AddObserver"), false, [&] { return observer && m_observers->Add(observer); });
}

bool ManageSocketObserver::RemoveObserver(SocketObserver* observer) {
    return Guarded(_T("Error: RemoveObserver"), false,
                   [&] { return observer && m_observers->Remove(observer); });
}

void ManageSocketObserver::NotifySocketEvent(SocketEventParams* params) {
    m_observers->ForEach([&](SocketObserver& observer) {
        Guarded(_T("Error: SocketEvent"), [&] { observer.SocketEvent(params); });
    });
}

void ManageSocketObserver::NotifyDataReceived(char* data, int size) {
    m_observers->ForEach([&](SocketObserver& observer) {
        Guarded(_T("Error: SocketDataReceived"), [&] { observer.SocketDataReceived(data, size); });
    });
}

SocketConnection::~SocketConnection() {
    ReInitSocketCommunition();
}

void SocketConnection::OnSocketEvent(SocketEventParams* params) {
    NotifySocketEvent(params);
}

void SocketConnection::OnDataReceived(char* data, int size) {
    NotifyDataReceived(data, size);
}
