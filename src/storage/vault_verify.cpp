#include "storage/vault_verify.h"

#include <unordered_map>
#include <unordered_set>

#include "storage/pack_format.h"
#include "storage/pack_reader.h"
#include "storage/storage_error.h"
#include "storage/vault_horizon.h"

namespace rampart {
namespace {

constexpr int64_t kProgressStep = 256;

class VerifyRun {
public:
    VerifyRun(ObjectStore& store, const VerifyOptions& options, VerifyReport& report)
        : m_store(store), m_reader(store), m_options(options), m_report(report) {}

    ServiceResult Run(Catalog& catalog, bool mayMark, bool& marked) {
        CheckAge(catalog);
        AuditVisitor visitor;
        visitor.totals = [this](int64_t chunks, int64_t files) { m_total = chunks + files; };
        visitor.problem = [this](const std::string& problem) { AddProblem(problem); };
        visitor.pack = [this](const PackState& pack) { CheckPack(pack); };
        visitor.chunk = [this](const PlacedChunk& chunk) { return CheckChunk(chunk) && Proceed(); };
        visitor.fault = [this](const Digest& digest) { return FaultOf(digest); };
        visitor.file = [this] {
            ++m_report.filesChecked;
            return Proceed();
        };
        catalog.Audit(visitor);
        for (const auto& [digest, fault] : m_faults) {
            if (!fault.ofFile && !m_cancelled) {
                AddProblem(fault.text);
            }
        }
        if (mayMark) {
            marked = Mark(catalog);
        }
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
        const bool known = m_known.contains(chunk.digest);
        try {
            if (m_options.readData) {
                CheckData(chunk);
                if (known) {
                    m_sound.push_back(chunk.digest);
                }
            } else {
                m_reader.CheckHeader(chunk);
                if (known) {
                    AddFault(chunk.digest, NameOf(chunk) + ": was found damaged before");
                }
            }
        } catch (const StorageError& error) {
            if (error.code() == kContentDamaged) {
                AddFault(chunk.digest, error.what());
            } else {
                AddProblem(error.what());
            }
        }
        return true;
    }

    void CheckData(const PlacedChunk& chunk) {
        const Chunk stored = m_reader.Read(chunk, m_buffer);
        m_report.bytesRead += static_cast<int64_t>(stored.stored.size());
        if ((stored.flags & kChunkEncrypted) == 0 && !DecodeChunk(stored, m_content)) {
            throw StorageError(kContentDamaged, NameOf(chunk) + ": does not have its digest");
        }
    }

    static std::string NameOf(const PlacedChunk& chunk) {
        return "chunk " + ToHex(chunk.digest) + " in " + PackKey(chunk.place.pack);
    }

    void AddFault(const Digest& digest, const std::string& text) {
        m_faults[digest].text =
            m_faults.size() <= VerifyReport::kMostProblems ? text : "its content is damaged";
    }

    // Each file that uses a damaged chunk is a problem by its path; a chunk that none uses is one by itself.
    std::string FaultOf(const Digest& digest) {
        const auto found = m_faults.find(digest);
        if (found == m_faults.end()) {
            return {};
        }
        found->second.ofFile = true;
        return found->second.text;
    }

    void CheckAge(Catalog& catalog) {
        try {
            for (const Digest& digest : catalog.DamagedChunks()) {
                m_known.insert(digest);
            }
            const std::string lack = LackOfCatalog(catalog, m_store, true);
            if (!lack.empty()) {
                AddProblem("the catalog is older than its packs: " + lack + "; " + kRepairAdvice);
            }
        } catch (const StorageError& error) {
            AddProblem(error.what());
        }
    }

    bool Mark(Catalog& catalog) {
        std::vector<Digest> damaged;
        for (const auto& [digest, fault] : m_faults) {
            damaged.push_back(digest);
        }
        bool marked = false;
        try {
            marked = !damaged.empty() && catalog.MarkDamaged(damaged) != 0;
            marked = (!m_sound.empty() && catalog.MarkSound(m_sound) != 0) || marked;
        } catch (const StorageError& error) {
            AddProblem("the damage could not be noted: " + std::string(error.what()));
        }
        return marked;
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
    struct Fault {
        std::string text;
        bool ofFile = false;
    };
    std::unordered_map<Digest, Fault, DigestHash> m_faults;
    std::unordered_set<Digest, DigestHash> m_known;  // marked before
    std::vector<Digest> m_sound;                     // of those
    std::string m_buffer;
    std::string m_content;
};

}  // namespace

ServiceResult VerifyVault(Catalog& catalog, ObjectStore& store, const VerifyOptions& options,
                          VerifyReport& report, bool mayMark, bool& marked) {
    report = {};
    return VerifyRun(store, options, report).Run(catalog, mayMark, marked);
}

}  // namespace rampart
