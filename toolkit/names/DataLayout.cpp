#include "names/DataLayout.h"

namespace tracewell {

long long DataLayout::sizeOf(const Object& object)
{
    switch (object.objectClass) {
    case ObjectClass::Scalar:
        return 1;
    case ObjectClass::Event:
        return 2;
    case ObjectClass::Vector:
        return 8 * ((static_cast<long long>(object.width) + 31) / 32);
    case ObjectClass::Real:
    case ObjectClass::String:
        break;
    }
    return 8;
}

DataLayout::DataLayout(const Declarations& declarations)
    : m_addresses(declarations.objects.size(), 0)
{
    long long next = 0;
    const auto place = [&](auto&& belongs) {
        for (std::size_t i = 0; i < declarations.objects.size(); ++i) {
            const Object& object = declarations.objects[i];
            if (belongs(object.objectClass)) {
                m_addresses[i] = next;
                next += sizeOf(object);
            }
        }
    };
    place([](ObjectClass c) { return c != ObjectClass::Event && c != ObjectClass::Scalar; });
    m_eventStart = next;
    place([](ObjectClass c) { return c == ObjectClass::Event; });
    m_eventEnd = next;
    place([](ObjectClass c) { return c == ObjectClass::Scalar; });

    m_overrideStart = (next + kOverrideAlignment - 1) / kOverrideAlignment * kOverrideAlignment;
    m_totalSize = m_overrideStart + 8 * static_cast<long long>(declarations.objects.size());
}

} // namespace tracewell
