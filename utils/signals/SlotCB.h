#pragma once

#include "data/VariantCollection.h"
#include "utils/Export.h"

#include <functional>
#include <type_traits>

namespace Utils {

class Slot;

/// The type T itself, in a form from which a template argument is not deduced.
template <typename T>
struct ExactlyType
{
    using Type = T;
};
template <typename T>
using Exactly = typename ExactlyType<T>::Type;

/// The callback of a Slot. Slot::setCallback() creates the right kind; the slot owns it.
///
/// The called function may delete the slot, and with it the callback that is running. So call()
/// accesses no member of the callback after the function has been called.
class KELMUTILS_EXPORT SlotCB
{
public:
    virtual ~SlotCB();
    virtual void call(Slot *slot) = 0;

protected:
    SlotCB() = default;

    /// The payload of the current delivery of \p slot, as Slot::data() returns it.
    static Data::VariantCollection payloadOf(const Slot *slot);

private:
    SlotCB(const SlotCB &) = delete;
    SlotCB &operator=(const SlotCB &) = delete;
};

/// Calls a plain function of one of three shapes. A null function is allowed and does nothing.
class KELMUTILS_EXPORT FunctionCB : public SlotCB
{
public:
    explicit FunctionCB(void (*function)());
    explicit FunctionCB(void (*function)(const Slot *));
    explicit FunctionCB(void (*function)(const Data::VariantCollection &));

    void call(Slot *slot) override;

private:
    void (*m_function)() = nullptr;
    void (*m_functionWithSlot)(const Slot *) = nullptr;
    void (*m_functionWithData)(const Data::VariantCollection &) = nullptr;
};

/// Calls a function object of one of three shapes, such as a lambda with captures. An empty
/// function is allowed and does nothing. The function is destroyed with the callback, or after its
/// return if it is running at that time.
class KELMUTILS_EXPORT FunctionObjectCB : public SlotCB
{
public:
    explicit FunctionObjectCB(std::function<void()> function);
    explicit FunctionObjectCB(std::function<void(const Slot *)> function);
    explicit FunctionObjectCB(std::function<void(const Data::VariantCollection &)> function);
    ~FunctionObjectCB() override;

    void call(Slot *slot) override;

private:
    struct Body;
    class Running;

    Body *m_body;
};

/// The std::function in which a function object of the type \p F is held: the first of the three
/// shapes in which it can be called. void when it can be called in none of them, and for what
/// converts to a plain function, such as a lambda without captures.
template <typename F>
using FunctionObject = std::conditional_t<
    std::is_convertible_v<F, void (*)()> || std::is_convertible_v<F, void (*)(const Slot *)> ||
        std::is_convertible_v<F, void (*)(const Data::VariantCollection &)>,
    void,
    std::conditional_t<
        std::is_invocable_v<F &>, std::function<void()>,
        std::conditional_t<std::is_invocable_v<F &, const Data::VariantCollection &>,
                           std::function<void(const Data::VariantCollection &)>,
                           std::conditional_t<std::is_invocable_v<F &, const Slot *>,
                                              std::function<void(const Slot *)>, void>>>>;

/// Calls a member function of one of three shapes on an object, which must outlive the callback. A
/// null object or member is allowed and does nothing.
template <typename T>
class MemberCB : public SlotCB
{
public:
    MemberCB(T *object, void (T::*member)()) : m_object(object), m_member(member) {}
    MemberCB(T *object, void (T::*member)(const Slot *))
        : m_object(object), m_memberWithSlot(member)
    {}
    MemberCB(T *object, void (T::*member)(const Data::VariantCollection &))
        : m_object(object), m_memberWithData(member)
    {}

    void call(Slot *slot) override
    {
        if (!m_object)
            return;
        if (m_memberWithSlot)
            (m_object->*m_memberWithSlot)(slot);
        else if (m_memberWithData)
            (m_object->*m_memberWithData)(payloadOf(slot));
        else if (m_member)
            (m_object->*m_member)();
    }

private:
    T *m_object;
    void (T::*m_member)() = nullptr;
    void (T::*m_memberWithSlot)(const Slot *) = nullptr;
    void (T::*m_memberWithData)(const Data::VariantCollection &) = nullptr;
};

} // namespace Utils
