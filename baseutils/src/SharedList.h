#ifndef VEXDEP_SHAREDLIST_H
#define VEXDEP_SHAREDLIST_H

#include <memory>
#include <utility>
#include <vector>

// A list that never changes once made, which copies share instead of each
// holding its own: the records of one dependency entry (one per PCI
// identity) share its OS requirements and platforms, and the dependencies of
// one Device share that Device's PCI identities. A record is given a new
// list, never a changed one, so sharing is invisible to its readers.
template <typename T>
class CSharedList
{
public:
    CSharedList() : m_pList(Empty()) {}
    explicit CSharedList(std::vector<T> vItems) : m_pList(std::make_shared<const std::vector<T>>(std::move(vItems))) {}

    const std::vector<T>& Items() const { return *m_pList; }
    // True when both are the very same list (not merely equal ones).
    bool IsSameListAs(const CSharedList& other) const { return m_pList == other.m_pList; }

private:
    static const std::shared_ptr<const std::vector<T>>& Empty()
    {
        static const std::shared_ptr<const std::vector<T>> pEmpty = std::make_shared<const std::vector<T>>();
        return pEmpty;
    }

    std::shared_ptr<const std::vector<T>> m_pList;
};

#endif // VEXDEP_SHAREDLIST_H
