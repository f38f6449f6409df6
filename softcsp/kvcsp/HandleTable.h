// Handles given out to callers. They are numbers, not addresses, so that a stale one is noticed.
#pragma once

#include <windows.h>

#include <map>
#include <memory>

#include "softcsp/common/CallRecord.h"
#include "softcsp/common/Mutex.h"

namespace softcsp {

template <class Object, HandleKind kind>
class HandleTable {
  public:
    HandleTable() = default;
    ~HandleTable() { CountHandles(kind, -static_cast<LONG>(objects_.size())); }
    HandleTable(const HandleTable&) = delete;
    HandleTable& operator=(const HandleTable&) = delete;

    ULONG_PTR Add(std::shared_ptr<Object> object) {
        const Mutex::Held held(mutex_);
        objects_.emplace(last_ + 1, std::move(object));
        CountHandles(kind, 1);
        return ++last_;
    }
    // Null when it isn't open. What is found lives on while it is used, even when it is closed meanwhile.
    std::shared_ptr<Object> Find(ULONG_PTR handle) {
        const Mutex::Held held(mutex_);
        const auto found = objects_.find(handle);
        return found != objects_.end() ? found->second : nullptr;
    }
    bool Remove(ULONG_PTR handle) {
        std::shared_ptr<Object> removed;  // goes after the lock
        const Mutex::Held held(mutex_);
        const auto found = objects_.find(handle);
        if (found == objects_.end()) return false;
        removed = std::move(found->second);
        objects_.erase(found);
        CountHandles(kind, -1);
        return true;
    }

  private:
    Mutex mutex_;
    std::map<ULONG_PTR, std::shared_ptr<Object>> objects_;
    ULONG_PTR last_ = 0;
};

}  // namespace softcsp
