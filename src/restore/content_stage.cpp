#include "restore/content_stage.h"

#include <algorithm>
#include <condition_variable>
#include <thread>

#include "framework/guarded.h"
#include "platform/clock.h"
#include "restore/file_in_work.h"
#include "storage/digest.h"

namespace rampart {
namespace {

// What one thread takes at a time: it holds one range of a pack, at most 4 MiB, and one piece of content, at
// most 8 MiB, in memory.
constexpr int64_t kBatchBytes = 2 << 20;
constexpr size_t kBatchEntries = 256;
constexpr std::chrono::milliseconds kProgressPeriod{100};

unsigned ThreadCount() {
    return std::clamp(std::thread::hardware_concurrency(), 2u, 4u);
}

std::vector<std::span<const uint32_t>> Batches(const std::vector<uint32_t>& entries,
                                               const RestorePlan& plan) {
    std::vector<std::span<const uint32_t>> batches;
    size_t begin = 0;
    int64_t bytes = 0;
    for (size_t i = 0; i < entries.size(); ++i) {
        bytes += plan.entries[entries[i]].size;
        if (bytes >= kBatchBytes || i + 1 - begin >= kBatchEntries || i + 1 == entries.size()) {
            batches.emplace_back(entries.data() + begin, i + 1 - begin);
            begin = i + 1;
            bytes = 0;
        }
    }
    return batches;
}

}  // namespace

void ContentStage::InParallel(const std::vector<uint32_t>& entries,
                              const std::function<void(std::span<const uint32_t>)>& body) {
    const auto batches = Batches(entries, m_context.plan);
    const uint64_t start = platform::CurrentClock().MonotonicMilliseconds();
    std::atomic<size_t> next{0};
    std::mutex mutex;
    std::condition_variable ended;
    size_t running = std::min<size_t>(ThreadCount(), batches.size());
    std::vector<std::thread> threads;
    threads.reserve(running);
    const size_t count = running;
    for (size_t i = 0; i < count; ++i) {
        threads.emplace_back([&] {
            for (size_t at = next++; at < batches.size() && !m_context.cancelled; at = next++) {
                Guarded(_T("Error: restore"), [&] { body(batches[at]); });
                // What a failure of this program itself left is told like any other.
                for (const uint32_t index : batches[at]) {
                    PlannedEntry& entry = m_context.plan.entries[index];
                    if (entry.state == EntryState::kWaiting && entry.leader == kNoIndex &&
                        !m_context.cancelled && !m_context.request.dryRun) {
                        m_context.Fail(entry, "an unexpected failure");
                    }
                }
            }
            std::lock_guard lock(mutex);
            --running;
            ended.notify_all();
        });
    }
    std::unique_lock lock(mutex);
    while (running > 0) {
        ended.wait_for(lock, kProgressPeriod);
        lock.unlock();
        TellProgress(start);
        lock.lock();
    }
    lock.unlock();
    for (std::thread& thread : threads) {
        thread.join();
    }
}

void ContentStage::TellProgress(uint64_t startMs) {
    const RestoreRequest& request = m_context.request;
    if (!request.progress || m_context.cancelled) {
        return;
    }
    RestoreProgress progress;
    progress.files = m_context.files;
    progress.bytes = std::min<int64_t>(m_context.bytes, m_context.report.plannedBytes);
    progress.totalFiles = m_context.report.plannedFiles;
    progress.totalBytes = m_context.report.plannedBytes;
    // A small file costs about as much as the bytes of this many.
    constexpr double kFileCost = 32 << 10;
    const double done = static_cast<double>(progress.bytes) + kFileCost * static_cast<double>(progress.files);
    const double whole =
        static_cast<double>(progress.totalBytes) + kFileCost * static_cast<double>(progress.totalFiles);
    const auto spent =
        static_cast<double>(platform::CurrentClock().MonotonicMilliseconds() - startMs) / 1000.0;
    if (spent >= 1 && done > 0) {
        progress.remainingSeconds = static_cast<int64_t>(spent * std::max(0.0, whole - done) / done + 0.5);
    }
    if (const uint32_t current = m_context.current; current != kNoIndex) {
        progress.current = m_context.plan.PathOf(m_context.plan.entries[current]);
    }
    if (!request.progress(progress)) {
        m_context.cancelled = true;
    }
}

void ContentStage::Write() {
    std::vector<uint32_t> order;
    const auto& entries = m_context.plan.entries;
    for (uint32_t i = 0; i < entries.size(); ++i) {
        const bool isOpen =
            entries[i].state == EntryState::kWaiting || entries[i].state == EntryState::kCompare;
        if (isOpen && (entries[i].leader == kNoIndex || entries[i].state == EntryState::kCompare)) {
            order.push_back(i);
        }
    }
    const auto placeOf = [&](uint32_t index) {
        const auto& chunks = entries[index].chunks;
        return chunks.empty() ? std::pair<int64_t, int64_t>()
                              : std::pair(chunks.front().place.pack, chunks.front().place.offset);
    };
    std::stable_sort(order.begin(), order.end(),
                     [&](uint32_t a, uint32_t b) { return placeOf(a) < placeOf(b); });
    InParallel(order, [&](std::span<const uint32_t> batch) { WriteBatch(batch); });
}

void ContentStage::WriteBatch(std::span<const uint32_t> batch) {
    std::vector<uint32_t> toWrite;
    for (const uint32_t index : batch) {
        PlannedEntry& entry = m_context.plan.entries[index];
        if (m_context.cancelled) {
            return;
        }
        if (entry.state == EntryState::kCompare) {
            m_context.current = index;
            Compare(entry);
        }
        if (entry.state == EntryState::kWaiting && entry.leader == kNoIndex) {
            toWrite.push_back(index);
        }
    }
    if (!m_context.request.dryRun) {
        ReadAndWrite(toWrite);
    }
}

void ContentStage::ReadAndWrite(const std::vector<uint32_t>& batch) {
    std::vector<PlacedChunk> chunks;
    std::vector<uint32_t> owners;  // of each chunk, as a place in `batch`
    for (uint32_t i = 0; i < batch.size(); ++i) {
        const PlannedEntry& entry = m_context.plan.entries[batch[i]];
        chunks.insert(chunks.end(), entry.chunks.begin(), entry.chunks.end());
        owners.insert(owners.end(), entry.chunks.size(), i);
    }
    std::optional<FileInWork> work;
    size_t at = 0;  // the entry that `work` is for, or the next one
    const auto finish = [&] {
        if (work && !work->HasFailed()) {
            work->Finish();
        }
        work.reset();
        ++at;
    };
    const auto begin = [&] {
        m_context.current = batch[at];
        work.emplace(m_context, m_context.plan.entries[batch[at]]);
        work->Begin();
    };
    // Entries without content have no chunk that would start them.
    const auto advanceTo = [&](size_t wanted) {
        while (at < wanted && !m_context.cancelled) {
            if (!work) {
                begin();
            }
            finish();
        }
        if (at < batch.size() && !work && !m_context.cancelled) {
            begin();
        }
    };
    ServiceResult read;
    if (!chunks.empty()) {
        read = m_context.service.ReadPlaced(
            chunks, [&](size_t index, const Chunk& chunk, const ServiceResult& result) {
                if (m_context.cancelled) {
                    return false;
                }
                advanceTo(owners[index]);
                if (work && !work->HasFailed()) {
                    work->Take(chunk, result);
                }
                return !m_context.cancelled;
            });
    }
    if (!read.Ok() && read.code != kCancelled) {
        work.reset();
        for (; at < batch.size(); ++at) {
            PlannedEntry& entry = m_context.plan.entries[batch[at]];
            if (entry.state == EntryState::kWaiting) {
                m_context.Fail(entry, "its stored content cannot be read: " + read.message);
            }
        }
        return;
    }
    advanceTo(batch.size());
}

void ContentStage::Compare(PlannedEntry& entry) {
    if (IsAsStored(entry, false)) {
        entry.state = EntryState::kThere;
        ++m_context.there;
        m_context.bytes += entry.size;
        ++m_context.files;
        return;
    }
    if (m_context.cancelled) {
        return;
    }
    std::string reason;
    entry.state = EntryState::kWaiting;
    entry.replaces = GivesWay(m_context.request.overwrite, entry, false, reason);
    if (!entry.replaces) {
        m_context.Conflict(entry, reason);
    }
}

bool ContentStage::IsAsStored(const PlannedEntry& entry, bool fromDisk) const {
    const auto folder = m_context.folders.Open(entry.folder);
    if (!folder) {
        return false;
    }
    if (entry.kind == EntryKind::kLink) {
        std::string target;
        return folder->ReadLink(entry.name, target) && entry.chunks.size() == 1 &&
               ComputeDigest(target) == entry.chunks.front().digest;
    }
    const auto file = folder->OpenFile(entry.name, fromDisk);
    uint64_t size = 0;
    if (!file || !file->GetSize(size) || size != static_cast<uint64_t>(entry.size)) {
        return false;
    }
    std::string piece;
    uint64_t offset = 0;
    for (const PlacedChunk& chunk : entry.chunks) {
        piece.resize(chunk.place.size);
        if (m_context.cancelled ||
            file->ReadAt(offset, piece.data(), piece.size()) != static_cast<int64_t>(piece.size()) ||
            ComputeDigest(piece) != chunk.digest) {
            return false;
        }
        offset += piece.size();
    }
    return offset == size;
}

void ContentStage::Link() {
    auto& entries = m_context.plan.entries;
    for (uint32_t i = 0; i < entries.size() && !m_context.cancelled; ++i) {
        PlannedEntry& entry = entries[i];
        if (entry.leader == kNoIndex || entry.state != EntryState::kWaiting) {
            continue;
        }
        const PlannedEntry& leader = entries[entry.leader];
        const bool hasLeader = leader.state == EntryState::kRestored || leader.state == EntryState::kThere;
        if (!hasLeader || !FileInWork(m_context, entry).LinkTo(leader)) {
            entry.leader = kNoIndex;
            ReadAndWrite({i});
        }
    }
}

void ContentStage::Verify() {
    std::vector<uint32_t> written;
    for (uint32_t i = 0; i < m_context.plan.entries.size(); ++i) {
        if (m_context.plan.entries[i].isRestoredContent &&
            m_context.plan.entries[i].kind != EntryKind::kSpecial) {
            written.push_back(i);
        }
    }
    InParallel(written, [&](std::span<const uint32_t> batch) {
        for (const uint32_t index : batch) {
            PlannedEntry& entry = m_context.plan.entries[index];
            m_context.current = index;
            if (IsAsStored(entry, true)) {
                ++m_context.verified;
            } else if (!m_context.cancelled) {
                --m_context.files;
                m_context.Fail(entry, "what was written does not read back as it was stored");
            }
        }
    });
}

}  // namespace rampart
