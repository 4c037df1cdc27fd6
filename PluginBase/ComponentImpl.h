#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "PluginBase/Component.h"

/// The bound accessors of one parameter: a getter and a setter of class T, each with 0 to 3 index arguments
/// (a band, a channel, a node), and the values of those arguments.
template <class T, class Value>
class ParameterBinding {
public:
    template <class Getter, class Setter, class... Indices>
    ParameterBinding(Getter getter, Setter setter, Indices... indices)
        : m_getter(getter), m_setter(setter), m_index{static_cast<std::uint32_t>(indices)...} {
        static_assert(sizeof...(Indices) <= 3);
        static_assert(std::is_invocable_r_v<Value, Getter, const T&, Indices...>,
                      "the getter takes as many indices as are given");
        static_assert(std::is_invocable_v<Setter, T&, Indices..., Value>,
                      "the setter takes the same indices, then the value");
    }

    Value Get(const T& object) const {
        const auto [i, j, k] = m_index;
        switch (m_getter.index()) {
            case 0:
                return (object.*std::get<0>(m_getter))();
            case 1:
                return (object.*std::get<1>(m_getter))(i);
            case 2:
                return (object.*std::get<2>(m_getter))(i, j);
            default:
                return (object.*std::get<3>(m_getter))(i, j, k);
        }
    }

    void Set(T& object, Value value) const {
        const auto [i, j, k] = m_index;
        switch (m_setter.index()) {
            case 0:
                return (object.*std::get<0>(m_setter))(value);
            case 1:
                return (object.*std::get<1>(m_setter))(i, value);
            case 2:
                return (object.*std::get<2>(m_setter))(i, j, value);
            default:
                return (object.*std::get<3>(m_setter))(i, j, k, value);
        }
    }

private:
    using Index = std::uint32_t;
    struct Indices {
        Index i = 0, j = 0, k = 0;
    };

    std::variant<Value (T::*)() const, Value (T::*)(Index) const, Value (T::*)(Index, Index) const,
                 Value (T::*)(Index, Index, Index) const>
        m_getter;
    std::variant<void (T::*)(Value), void (T::*)(Index, Value), void (T::*)(Index, Index, Value),
                 void (T::*)(Index, Index, Index, Value)>
        m_setter;
    Indices m_index;
};

/// The table layer of one module class T, which derives from ComponentImpl<T>. T's constructor declares its
/// parameters, one line each, and ends with FinishTables:
///
///     Float("EXC: Band 1 Amount", "%", 0, 10, 0, &Exciter::Amount, &Exciter::SetAmount, 0)
///         .InPreset(PresetGroup::Exciter).Automatable();
///
/// A getter is `Value Get(indices...) const`, a setter `void Set(indices..., Value)`, every index a
/// std::uint32_t. The order of the declarations within a table is the order of every persisted format.
template <class T>
class ComponentImpl : public Component {
public:
    float GetFloat(std::uint32_t uIndex) const final { return m_floatBindings[uIndex].Get(Self()); }
    void SetFloat(std::uint32_t uIndex, float fValue) final {
        if (!std::isnan(fValue)) m_floatBindings[uIndex].Set(Self(), fValue);
    }
    bool GetBool(std::uint32_t uIndex) const final { return m_boolBindings[uIndex].Get(Self()); }
    void SetBool(std::uint32_t uIndex, bool bValue) final { m_boolBindings[uIndex].Set(Self(), bValue); }
    std::int32_t GetInt(std::uint32_t uIndex) const final { return m_intBindings[uIndex].Get(Self()); }
    void SetInt(std::uint32_t uIndex, std::int32_t nValue) final {
        m_intBindings[uIndex].Set(Self(), nValue);
    }
    std::uint32_t GetUInt(std::uint32_t uIndex) const final { return m_uintBindings[uIndex].Get(Self()); }
    void SetUInt(std::uint32_t uIndex, std::uint32_t uValue) final {
        m_uintBindings[uIndex].Set(Self(), uValue);
    }

protected:
    using Component::Component;

    template <class Getter, class Setter, class... Indices>
    FloatRecord& Float(std::string strName, std::string strUnits, float fMin, float fMax, float fDefault,
                       Getter getter, Setter setter, Indices... indices) {
        m_floatBindings.emplace_back(getter, setter, indices...);
        FloatRecord& record = Append(m_floats, std::move(strName), std::move(strUnits));
        record.fMin = fMin;
        record.fMax = fMax;
        record.fDefault = fDefault;
        return record;
    }

    template <class Getter, class Setter, class... Indices>
    BoolRecord& Bool(std::string strName, bool bDefault, Getter getter, Setter setter, Indices... indices) {
        m_boolBindings.emplace_back(getter, setter, indices...);
        BoolRecord& record = Append(m_bools, std::move(strName), "");
        record.bDefault = bDefault;
        return record;
    }

    template <class Getter, class Setter, class... Indices>
    IntRecord& Int(std::string strName, std::string strUnits, std::int32_t nMin, std::int32_t nMax,
                   std::int32_t nDefault, Getter getter, Setter setter, Indices... indices) {
        m_intBindings.emplace_back(getter, setter, indices...);
        IntRecord& record = Append(m_ints, std::move(strName), std::move(strUnits));
        record.nMin = nMin;
        record.nMax = nMax;
        record.nDefault = nDefault;
        return record;
    }

    template <class Getter, class Setter, class... Indices>
    UIntRecord& UInt(std::string strName, std::string strUnits, std::uint32_t uMin, std::uint32_t uMax,
                     std::uint32_t uDefault, Getter getter, Setter setter, Indices... indices) {
        m_uintBindings.emplace_back(getter, setter, indices...);
        UIntRecord& record = Append(m_uints, std::move(strName), std::move(strUnits));
        record.uMin = uMin;
        record.uMax = uMax;
        record.uDefault = uDefault;
        return record;
    }

private:
    template <class Record>
    static Record& Append(std::vector<Record>& table, std::string strName, std::string strUnits) {
        Record& record = table.emplace_back();
        record.strName = std::move(strName);
        record.strUnits = std::move(strUnits);
        return record;
    }

    T& Self() { return static_cast<T&>(*this); }
    const T& Self() const { return static_cast<const T&>(*this); }

    std::vector<ParameterBinding<T, float>> m_floatBindings;
    std::vector<ParameterBinding<T, bool>> m_boolBindings;
    std::vector<ParameterBinding<T, std::int32_t>> m_intBindings;
    std::vector<ParameterBinding<T, std::uint32_t>> m_uintBindings;
};
