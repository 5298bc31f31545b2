// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <glib-object.h>

#include <utility>

namespace tavo::virtualusb {

// A counted reference to a GObject.
template <class T>
class ObjectRef {
public:
    ObjectRef() = default;
    // Takes over a reference that the caller owns; null is allowed.
    static ObjectRef adopt(T* object) { return ObjectRef(object); }
    // Adds a reference of its own.
    static ObjectRef share(T* object) {
        if (object)
            g_object_ref(object);
        return ObjectRef(object);
    }

    ObjectRef(const ObjectRef& other) : ObjectRef(share(other.object)) {}
    ObjectRef(ObjectRef&& other) noexcept : object(std::exchange(other.object, nullptr)) {}
    ObjectRef& operator=(ObjectRef other) noexcept {
        std::swap(object, other.object);
        return *this;
    }
    ~ObjectRef() {
        if (object)
            g_object_unref(object);
    }

    T* get() const { return object; }
    explicit operator bool() const { return object != nullptr; }

private:
    explicit ObjectRef(T* owned) : object(owned) {}

    T* object = nullptr;
};

} // namespace tavo::virtualusb
