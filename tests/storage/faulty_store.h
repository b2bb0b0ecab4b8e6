// A store that fails, or ends the process, at a chosen call, and that can forget what was not made durable.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

#include "storage/object_store.h"
#include "storage/storage_error.h"

namespace rampart::test {

// Shared by a store and the test that steers it.
struct FaultPlan {
    enum Call { kWrite, kSync, kOpen, kPut };
    // Asked before each call with its number, from 1; true makes it fail. A write that fails has put half its
    // bytes.
    std::function<bool(Call call, int number)> fails;
    // Called in the middle of each call, when half of a write's bytes are there.
    std::function<void(Call call, int number)> halfway;
    std::atomic<int> calls = 0;
    std::mutex mutex;
    std::map<std::string, int64_t> durable;  // object to its size at the last sync; guarded by mutex

    void Enter(Call call, const std::function<void()>& half) {
        const int number = ++calls;
        const bool fault = fails && fails(call, number);
        if (fault || halfway) {
            half();
        }
        if (halfway) {
            halfway(call, number);
        }
        if (fault) {
            throw StorageError(kFailed, "injected fault");
        }
    }
};

class FaultyStore : public ObjectStore {
public:
    FaultyStore(std::unique_ptr<ObjectStore> inner, std::shared_ptr<FaultPlan> plan)
        : m_inner(std::move(inner)), m_plan(std::move(plan)) {}

    void Put(const std::string& key, std::string_view bytes) override {
        m_plan->Enter(FaultPlan::kPut, [] {});
        m_inner->Put(key, bytes);
    }
    size_t GetRange(const std::string& key, int64_t offset, void* buffer, size_t size) override {
        return m_inner->GetRange(key, offset, buffer, size);
    }
    std::optional<int64_t> Size(const std::string& key) override { return m_inner->Size(key); }
    void Delete(const std::string& key) override { m_inner->Delete(key); }
    void List(const std::string& prefix,
              const std::function<void(const std::string& key, int64_t size)>& visit) override {
        m_inner->List(prefix, visit);
    }
    std::unique_ptr<AppendObject> OpenAppend(const std::string& key, bool create) override {
        m_plan->Enter(FaultPlan::kOpen, [] {});
        auto object = m_inner->OpenAppend(key, create);
        if (!object) {
            return nullptr;
        }
        return std::make_unique<FaultyObject>(std::move(object), key, m_plan);
    }
    int64_t FreeBytes() override { return m_inner->FreeBytes(); }

private:
    class FaultyObject : public AppendObject {
    public:
        FaultyObject(std::unique_ptr<AppendObject> inner, std::string key, std::shared_ptr<FaultPlan> plan)
            : m_inner(std::move(inner)), m_key(std::move(key)), m_plan(std::move(plan)) {}
        int64_t Size() override { return m_inner->Size(); }
        void WriteAt(int64_t offset, std::string_view bytes) override {
            m_plan->Enter(FaultPlan::kWrite,
                          [&] { m_inner->WriteAt(offset, bytes.substr(0, bytes.size() / 2)); });
            m_inner->WriteAt(offset, bytes);
        }
        void Sync() override {
            m_plan->Enter(FaultPlan::kSync, [] {});
            m_inner->Sync();
            std::lock_guard lock(m_plan->mutex);
            m_plan->durable[m_key] = m_inner->Size();
        }
        void Truncate(int64_t size) override { m_inner->Truncate(size); }

    private:
        std::unique_ptr<AppendObject> m_inner;
        std::string m_key;
        std::shared_ptr<FaultPlan> m_plan;
    };

    std::unique_ptr<ObjectStore> m_inner;
    std::shared_ptr<FaultPlan> m_plan;
};

inline auto WithPlan(const std::shared_ptr<FaultPlan>& plan) {
    return [plan](std::unique_ptr<ObjectStore> inner) -> std::unique_ptr<ObjectStore> {
        return std::make_unique<FaultyStore>(std::move(inner), plan);
    };
}

}  // namespace rampart::test
