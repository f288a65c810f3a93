#ifndef TKPROPERTY_H
#define TKPROPERTY_H

/// A field of a record that the application reads as if it were a plain member, such as
/// `int speed = table.sid;`. It belongs to one record object and reads through that record's
/// getter. No lock: it is read where the record may be.
///
/// Owner is the record, Get the type that is read, Set the one that its functions take.
template <class Owner, class Get, class Set>
class TkReadOnly {
  public:
    /// A member function of the record that makes of a field's value what is shown, or of a value
    /// assigned what is stored.
    using Accessor = Get (Owner::*)(Set);

    /// `field` is the value inside the record, and may be null: then the getter starts from 0.
    /// `getter` may be null: then the field's value is shown as it is.
    TkReadOnly(Owner *owner, Get *field, Accessor getter)
        : m_pOwner(owner), m_pField(field), m_pGetter(getter) {}

    /// A copy shows the same field of the same record.
    TkReadOnly(const TkReadOnly &) = default;
    TkReadOnly &operator=(const TkReadOnly &) = delete;

  protected:
    virtual Get _get() const {
        const Get value = m_pField == nullptr ? Get() : *m_pField;
        return m_pGetter == nullptr ? value : (m_pOwner->*m_pGetter)(value);
    }

  public:
    virtual operator Get() const { return _get(); }

    virtual ~TkReadOnly() = default;

  protected:
    Owner *m_pOwner;
    Get *m_pField;
    Accessor m_pGetter;
};

/// A field that the application writes too, as in `receptor.Kv = 70;`. What an assignment does to
/// the record's validity is told with the record.
template <class Owner, class Get, class Set>
class TkProperty : public TkReadOnly<Owner, Get, Set> {
  public:
    using typename TkReadOnly<Owner, Get, Set>::Accessor;

    /// As TkReadOnly. `setter` may be null: then a value is stored as it is, if there is a field.
    TkProperty(Owner *owner, Get *field, Accessor getter, Accessor setter)
        : TkReadOnly<Owner, Get, Set>(owner, field, getter), m_pSetter(setter) {}

    /// A copy shows the same field of the same record.
    TkProperty(const TkProperty &) = default;

  private:
    virtual void _set(Set value) {
        Owner *const owner = this->m_pOwner;
        const Get stored = m_pSetter == nullptr ? Get(value) : (owner->*m_pSetter)(value);
        if (this->m_pField != nullptr) {
            *this->m_pField = stored;
        }
    }

  public:
    virtual TkProperty &operator=(Set value) {
        _set(value);
        return *this;
    }

    /// Assigns the value that the other field shows, as between plain members.
    TkProperty &operator=(const TkProperty &other) {
        return *this = static_cast<Set>(static_cast<Get>(other));
    }

  private:
    Accessor m_pSetter;
};

#endif
