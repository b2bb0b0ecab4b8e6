#include "storage/vault_verify.h"

#include "storage/pack_format.h"
#include "storage/pack_reader.h"
#include "storage/storage_error.h"

namespace rampart {
namespace {

constexpr int64_t kProgressStep = 256;

class VerifyRun {
public:
    VerifyRun(ObjectStore& store, const VerifyOptions& options, VerifyReport& report)
        : m_store(store), m_reader(store), m_options(options), m_report(report) {}

    ServiceResult Run(Catalog& catalog) {
        AuditVisitor visitor;
        visitor.totals = [this](int64_t chunks, int64_t files) { m_total = chunks + files; };
        visitor.problem = [this](const std::string& problem) { AddProblem(problem); };
        visitor.pack = [this](const PackState& pack) { CheckPack(pack); };
        visitor.chunk = [this](const PlacedChunk& chunk) { return CheckChunk(chunk) && Proceed(); };
        visitor.file = [this] {
            ++m_report.filesChecked;
            return Proceed();
        };
        catalog.Audit(visitor);
        if (m_cancelled) {
            return ServiceResult(kCancelled, ServiceCodeText(kCancelled));
        }
        if (m_report.problemCount > 0) {
            return ServiceResult(kVaultDamaged,
                                 std::to_string(m_report.problemCount) +
                                     " problems found, the first: " + m_report.problems.front());
        }
        return ServiceResult();
    }

private:
    void AddProblem(const std::string& problem) {
        ++m_report.problemCount;
        if (m_report.problems.size() < VerifyReport::kMostProblems) {
            m_report.problems.push_back(problem);
        }
    }

    void CheckPack(const PackState& pack) {
        if (pack.bytes == 0) {
            return;
        }
        ++m_report.packsChecked;
        const std::string key = PackKey(pack.id);
        const auto size = m_store.Size(key);
        if (!size || *size < pack.bytes) {
            AddProblem(key + (size ? " has " + std::to_string(*size) + " bytes, it should have " +
                                         std::to_string(pack.bytes)
                                   : std::string(" is missing")));
        }
        char header[kPackHeaderBytes];
        if (size && !IsPackHeader({header, m_store.GetRange(key, 0, header, sizeof(header))})) {
            AddProblem(key + " does not begin as a pack");
        }
    }

    bool CheckChunk(const PlacedChunk& chunk) {
        ++m_report.chunksChecked;
        try {
            if (m_options.readData) {
                CheckData(chunk);
            } else {
                m_reader.CheckHeader(chunk);
            }
        } catch (const StorageError& error) {
            AddProblem(error.what());
        }
        return true;
    }

    void CheckData(const PlacedChunk& chunk) {
        const Chunk stored = m_reader.Read(chunk, m_buffer);
        m_report.bytesRead += static_cast<int64_t>(stored.stored.size());
        if ((stored.flags & kChunkEncrypted) == 0 && !DecodeChunk(stored, m_content)) {
            AddProblem("chunk " + ToHex(chunk.digest) + " in " + PackKey(chunk.place.pack) +
                       " does not have its digest");
        }
    }

    bool Proceed() {
        ++m_done;
        if (m_options.progress && (m_done % kProgressStep == 0 || m_done == m_total)) {
            m_cancelled = !m_options.progress(m_done, m_total);
        }
        return !m_cancelled;
    }

    ObjectStore& m_store;
    PackReader m_reader;
    const VerifyOptions& m_options;
    VerifyReport& m_report;
    int64_t m_done = 0;
    int64_t m_total = 0;
    bool m_cancelled = false;
    std::string m_buffer;
    std::string m_content;
};

}  // namespace

ServiceResult VerifyVault(Catalog& catalog, ObjectStore& store, const VerifyOptions& options,
                          VerifyReport& report) {
    report = {};
    return VerifyRun(store, options, report).Run(catalog);
}

}  // namespace rampart
