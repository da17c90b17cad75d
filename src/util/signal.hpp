// SPDX-License-Identifier: GPL-3.0-or-later
// Signals with any number of listeners, and the delegates that bind an object to a member function.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>
#include <vector>

namespace vocalink::util {

/** The comparable core of a delegate: which object, and which of its member functions.
 *  A member-function pointer is two machine words (Itanium C++ ABI) for every class. */
class DelegateMemento {
  public:
    /** Copies object and member function of another memento. */
    void SetMementoFrom(const DelegateMemento& other) { *this = other; }

    /** Orders by object address, and for one object by the bytes of the member-function pointer. */
    [[nodiscard]] bool IsLess(const DelegateMemento& other) const {
        if (object != other.object) {
            return reinterpret_cast<std::uintptr_t>(object) <
                   reinterpret_cast<std::uintptr_t>(other.object);
        }
        return std::memcmp(method.data(), other.method.data(), method.size()) < 0;
    }

    [[nodiscard]] bool is_bound() const { return object != nullptr; }

  protected:
    static constexpr std::size_t method_bytes = 2 * sizeof(void*);

    template <class Class, class Method>
    void bind(Class* target, Method member) {
        static_assert(sizeof(Method) == method_bytes);
        object = target;
        std::memcpy(method.data(), &member, method_bytes);
    }

    template <class Method>
    [[nodiscard]] Method bound_method() const {
        Method member;
        std::memcpy(&member, method.data(), method_bytes);
        return member;
    }

    void* object = nullptr;
    std::array<unsigned char, method_bytes> method{};
};

/** A member function with the given arguments, bound to an object that somebody else owns.
 *  Copying and calling allocate nothing. */
template <class... Args>
class basic_delegate : public DelegateMemento {
  public:
    basic_delegate() = default;

    template <class Class>
    basic_delegate(Class* target, void (Class::*member)(Args...)) {
        bind(target, member);
        call = [](const basic_delegate& self, const Args&... args) {
            using method_type = void (Class::*)(Args...);
            (static_cast<Class*>(self.object)->*self.bound_method<method_type>())(args...);
        };
    }

    /** Arguments travel by reference; a member that takes them by value gets its one copy here. */
    void operator()(const Args&... args) const { call(*this, args...); }
    bool operator<(const basic_delegate& other) const { return IsLess(other); }

  private:
    void (*call)(const basic_delegate&, const Args&...) = nullptr;
};

template <class Result>
using Delegate0 = std::enable_if_t<std::is_void_v<Result>, basic_delegate<>>;

template <class T, class Result>
using Delegate1 = std::enable_if_t<std::is_void_v<Result>, basic_delegate<T>>;

/** Binds a member function, possibly one inherited from a base of Object. */
template <class Object, class Class, class... Args>
[[nodiscard]] basic_delegate<Args...> MakeDelegate(Object* object, void (Class::*method)(Args...)) {
    return {static_cast<Class*>(object), method};
}

/** Delegates in ascending order, without duplicates. Most signals have one listener, which stands in
 *  the signal itself: an emission then touches no other memory. */
template <class Delegate>
class delegate_list {
  public:
    [[nodiscard]] const Delegate* begin() const { return several ? several->data() : &lone; }
    [[nodiscard]] const Delegate* end() const { return begin() + size(); }
    [[nodiscard]] std::size_t size() const {
        return several ? several->size() : lone.is_bound() ? 1 : 0;
    }

    [[nodiscard]] bool contains(const Delegate& wanted) const {
        return std::binary_search(begin(), end(), wanted);
    }

    void insert(const Delegate& added) {
        if (contains(added)) {
            return;
        }
        if (size() == 0) {
            lone = added;
        } else {
            if (!several) {
                several = std::make_unique<std::vector<Delegate>>(1, lone);
            }
            several->insert(std::lower_bound(several->begin(), several->end(), added), added);
        }
    }

    void erase(const Delegate& removed) {
        if (!contains(removed)) {
            return;
        }
        if (!several) {
            lone = {};
            return;
        }
        several->erase(std::lower_bound(several->begin(), several->end(), removed));
        if (several->size() == 1) {
            lone = several->front();
            several.reset();
        }
    }

  private:
    Delegate lone; // while there is one
    std::unique_ptr<std::vector<Delegate>> several;
};

/** The ordered set of delegates behind a signal, and the emission over it.
 *
 *  Listeners are called in the order of their object addresses. One that is disconnected during an
 *  emission is not called later in it, one that is connected is not called until the next. A
 *  listener may destroy the object that owns the signal; nobody is called after that. Whoever emits
 *  must then not touch itself. Emitting to up to four listeners allocates nothing. Loop thread
 *  only. */
template <class... Args>
class delegate_set {
  public:
    using delegate = basic_delegate<Args...>;

    delegate_set() = default;
    delegate_set(const delegate_set&) = delete;
    delegate_set& operator=(const delegate_set&) = delete;
    ~delegate_set() {
        for (emission* running = innermost; running != nullptr; running = running->outer) {
            running->signal_gone = running->signal_gone || running->set == this;
        }
    }

    void insert(const delegate& added) { listeners.insert(added); }
    void erase(const delegate& removed) { listeners.erase(removed); }

    void emit(const Args&... args) {
        constexpr std::size_t usual_listeners = 4;
        if (listeners.size() == 1) {
            const delegate lone = *listeners.begin();
            lone(args...); // there is nobody whom it could disconnect
        } else if (listeners.size() <= usual_listeners) {
            std::array<delegate, usual_listeners> copy;
            std::copy(listeners.begin(), listeners.end(), copy.begin());
            walk(copy.data(), listeners.size(), args...);
        } else {
            const std::vector<delegate> copy(listeners.begin(), listeners.end());
            walk(copy.data(), copy.size(), args...);
        }
    }

    [[nodiscard]] int size() const { return static_cast<int>(listeners.size()); }

  private:
    /** One running emission; lives on the emitter's stack, which outlives the signal if need be. */
    struct emission {
        explicit emission(const delegate_set* emitting) : set(emitting) { innermost = this; }
        emission(const emission&) = delete;
        emission& operator=(const emission&) = delete;
        ~emission() { innermost = outer; }

        const delegate_set* const set;
        emission* const outer = innermost;
        bool signal_gone = false;
    };

    void walk(const delegate* copy, std::size_t count, const Args&... args) {
        emission running(this);
        for (const delegate* listener = copy; listener != copy + count; ++listener) {
            if (listeners.contains(*listener)) {
                (*listener)(args...);
            }
            if (running.signal_gone) {
                return;
            }
        }
    }

    delegate_list<delegate> listeners;
    inline static emission* innermost = nullptr; // of all signals with these arguments
};

/** A signal without arguments. Few of them have a listener: they take memory from the first one on. */
template <class Result = void>
class signal0 {
    static_assert(std::is_void_v<Result>, "listeners return nothing");

  public:
    template <class Object, class Class>
    void connect(Object* object, void (Class::*method)()) {
        if (!listeners) {
            listeners = std::make_unique<delegate_set<>>();
        }
        listeners->insert(MakeDelegate(object, method));
    }

    template <class Object, class Class>
    void disconnect(Object* object, void (Class::*method)()) {
        if (listeners) {
            listeners->erase(MakeDelegate(object, method));
        }
    }

    void emit() {
        if (listeners) {
            listeners->emit();
        }
    }
    void operator()() { emit(); }
    [[nodiscard]] int connections() const { return listeners ? listeners->size() : 0; }

  private:
    std::unique_ptr<delegate_set<>> listeners;
};

/** A signal with one argument. A listener that takes it by value gets a copy of its own. Its change notifier fires after
 *  every connect and disconnect, whether or not the set of listeners changed. */
template <class T>
class signal1 {
  public:
    template <class Object, class Class>
    void connect(Object* object, void (Class::*method)(T)) {
        listeners.insert(MakeDelegate(object, method));
        changed();
    }

    template <class Object, class Class>
    void disconnect(Object* object, void (Class::*method)(T)) {
        listeners.erase(MakeDelegate(object, method));
        changed();
    }

    void emit(const T& value) { listeners.emit(value); }
    void operator()(const T& value) { emit(value); }
    [[nodiscard]] int connections() const { return listeners.size(); }

  private:
    delegate_set<T> listeners; // first: every emission looks at it

  public:
    signal0<> changed;
};

} // namespace vocalink::util
