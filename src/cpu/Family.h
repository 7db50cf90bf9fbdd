// The row kernels of one family (a plain struct of function pointers) for
// every compiled target, and the lookup that picks the active one per call.
#ifndef QUEVARRA_SRC_CPU_FAMILY_H
#define QUEVARRA_SRC_CPU_FAMILY_H

#include "cpu/Cpu.h"

namespace qv::cpu {

template <typename Table>
class Family {
public:
    // `reference` holds the scalar reference rows.
    explicit constexpr Family(const Table* reference) : m_reference(reference) {}

    // Called during static initialisation, once per compiled target.
    bool Register(Target target, const Table* table) {
        if (m_count < kMaxTargets) m_entries[m_count++] = {target, table};
        NoteCompiled(target);
        return true;
    }

    // The table for `target`, or for the best registered target below it,
    // or the reference rows.
    const Table& For(Target target) const {
        const Table* best = m_reference;
        Target bestTarget = 0;
        if (target == kReference) return *best;
        for (int i = 0; i < m_count; ++i) {
            const Target t = m_entries[i].target;
            if (t >= target && (bestTarget == 0 || t < bestTarget)) {
                best = m_entries[i].table;
                bestTarget = t;
            }
        }
        return *best;
    }

    const Table& Active() const { return For(ActiveTarget()); }
    const Table& Reference() const { return *m_reference; }

private:
    static constexpr int kMaxTargets = 16;
    struct Entry {
        Target target;
        const Table* table;
    };
    const Table* m_reference;
    Entry m_entries[kMaxTargets] = {};
    int m_count = 0;
};

}  // namespace qv::cpu

#endif
