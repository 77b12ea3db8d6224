/// How a type lists the members that it has in a recording: once, for reading and for writing.
///
/// Such a type has a function Members(), which gives a tuple of what stands in this file.
#pragma once

#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

namespace cri_recording {

/// What is wrong with a value beyond its type is thrown as std::invalid_argument; `name` is the
/// member's, for the text.
template <class Value>
using Requirement = void (*)(const std::string& name, const Value& value);

/// A member of the object that stands in the recording.
template <class Owner, class Value>
struct Member {
    using Type = Value;

    constexpr Member(const char* memberName, Value Owner::*memberPlace,
                     Requirement<Value> require = nullptr)
        : name(memberName), place(memberPlace), requirement(require) {}

    const char* name;
    Value Owner::*place;
    Requirement<Value> requirement;  ///< null: every value of the type will do
};

/// An object whose members stand among those of its owner instead of in an object of their own.
template <class Owner, class Value>
struct Inlined {
    using Type = Value;

    constexpr explicit Inlined(Value Owner::*objectPlace) : place(objectPlace) {}

    Value Owner::*place;
};

template <class T>
concept HasMembers = requires {
    T::Members();
};

template <class T, class... Listed>
consteval bool ListsEveryMember(std::type_identity<std::tuple<Listed...>>) {
    constexpr bool kFit = requires {
        T{std::declval<typename Listed::Type>()...};
    };
    constexpr bool kOneMoreFits = requires {
        T{std::declval<typename Listed::Type>()..., {}};
    };
    return kFit && !kOneMoreFits;
}

/// Whether T's list names all of T's members, in the order of their declaration.
template <HasMembers T>
constexpr bool kListsEveryMember =
    ListsEveryMember<T>(std::type_identity<decltype(T::Members())>());

/// Calls visit(member) for each of the list.
template <HasMembers T, class Visit>
void ForEachMember(Visit visit) {
    static_assert(kListsEveryMember<T>, "Members() lacks a member, or has another order");
    std::apply([&](const auto&... member) { (visit(member), ...); }, T::Members());
}

}  // namespace cri_recording
