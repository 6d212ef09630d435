// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Tessaly/Concurrency/Mutex.hpp"
#include "Tessaly/Concurrency/detail/IdentifiedContinuation.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/detail/PerThread.hpp"
#include "Tessaly/Core/Foundation/CopyOnWrite.hpp"
#include "Tessaly/Core/Foundation/UUID.hpp"

namespace Tessaly::inline v1::detail {

/// A number that no earlier call in this process has returned. Never zero.
[[nodiscard]] TESSALY_EXPORT std::uint64_t nextListVersion() noexcept;

/// The listeners of a broadcaster, in a list. A send walks the list outside the lock.
///
/// A send walks the list as the list was at the start of the send. Each thread keeps the list of its latest send if the
/// list is short. The next sends of that thread through the same broadcaster then take no lock and change no reference
/// count, until a listener joins or leaves. Joining and leaving copy the list if a send is walking it or a thread keeps
/// it; otherwise they cost amortised O(1). A kept list can keep the storage of an ended stream alive, but not the
/// stream's elements.
///
/// Thread contract: thread-safe.
template <typename Element>
class Listeners {
 public:
  using Listener = IdentifiedContinuation<UUID, Element>;
  using List = CopyOnWrite<std::vector<Listener>>;
  /// A thread keeps no list with more listeners, because walking such a list takes far longer than taking the lock.
  static constexpr std::size_t maximumKeptCount = 16;

  Listeners() : present_(Present()) {}
  Listeners(const Listeners&) = delete;
  Listeners& operator=(const Listeners&) = delete;
  ~Listeners() { static_cast<void>(takeAll()); }  // A Mutex never destroys its value.

  void insert(const Listener& listener) {
    present_.withLock([&](Present& present) {
      std::vector<Listener>& list = present.list.modify();
      list.push_back(listener);
      try {
        present.places.emplace(listener, list.size() - 1);
      } catch (...) {
        list.pop_back();
        throw;
      }
      version_.store(0, std::memory_order_relaxed);
    });
  }

  /// Removes the listener if it has not been removed. The last listener of the list takes the removed listener's place.
  void remove(const Listener& listener) {
    // Listeners are removed under the lock and destroyed outside it.
    List emptied;
    typename Places::node_type removed;
    present_.withLock([&](Present& present) {
      const auto found = present.places.find(listener);
      if (found == present.places.end()) return;
      if (present.places.size() == 1) {
        std::swap(present.list, emptied);
      } else {
        std::vector<Listener>& list = present.list.modify();
        present.places.at(list.back()) = found->second;
        list[found->second] = std::move(list.back());
        list.pop_back();
      }
      removed = present.places.extract(found);
      version_.store(0, std::memory_order_relaxed);
    });
  }

  /// Removes all listeners and returns them.
  [[nodiscard]] List takeAll() {
    Present taken;
    present_.withLock([&](Present& present) {
      std::swap(present, taken);
      version_.store(0, std::memory_order_relaxed);
    });
    return std::move(taken.list);
  }

  /// Yields the value to each listener.
  void yieldToAll(const Element& value) {
    Kept& kept = PerThread<Kept>::current();
    if (kept.version != version_.load(std::memory_order_relaxed)) [[unlikely]]
      return yieldToPresent(value, kept);
    // A function of the element, such as its copy constructor, may send too. That send must not replace this list.
    struct Walk {
      Kept& kept;
      explicit Walk(Kept& kept) : kept(kept) { ++kept.walks; }
      ~Walk() { --kept.walks; }
    } const walk(kept);
    yieldTo(kept.list, value);
  }

 private:
  using Places = std::unordered_map<Listener, std::size_t>;
  struct Present {
    Places places;
    List list;
  };
  /// The list that a thread keeps from an earlier send, and the version of that list.
  struct Kept {
    std::uint64_t version = ~std::uint64_t{0};
    List list;
    int walks = 0;
  };

  static void yieldTo(const List& list, const Element& value) {
    for (const Listener& listener : list.read()) listener.continuation.yield(value);
  }

  [[gnu::noinline]] void yieldToPresent(const Element& value, Kept& kept) {
    std::uint64_t version = 0;
    List list = present_.withLock([&](const Present& present) {
      version = version_.load(std::memory_order_relaxed);
      if (version == 0 && present.list.read().size() <= maximumKeptCount) {
        version = nextListVersion();
        version_.store(version, std::memory_order_relaxed);
      }
      return present.list;
    });
    yieldTo(list, value);
    if (version == 0 || kept.walks > 0) return;
    kept.version = version;
    std::swap(kept.list, list);
  }

  Mutex<Present> present_;
  /// Zero after each change of the list. The next send sets a new number if the list is short. Threads keep the list
  /// together with that number.
  std::atomic<std::uint64_t> version_{0};
};

}  // namespace Tessaly::inline v1::detail
