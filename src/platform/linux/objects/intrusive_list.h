// A doubly linked list whose links lie in its elements, so that nothing is allocated. Within the layer only.
#pragma once

template <class T>
struct ListLinks {
    T* previous = nullptr;
    T* next = nullptr;
};

// Owns nothing; an element is in one list at most. Guarded by its user.
template <class T, ListLinks<T> T::*Links>
class IntrusiveList {
  public:
    T* First() const { return first_; }

    void Append(T& element) {
        element.*Links = {last_, nullptr};
        (last_ == nullptr ? first_ : (last_->*Links).next) = &element;
        last_ = &element;
    }

    void Prepend(T& element) {
        element.*Links = {nullptr, first_};
        (first_ == nullptr ? last_ : (first_->*Links).previous) = &element;
        first_ = &element;
    }

    void Remove(T& element) {
        const ListLinks<T> links = element.*Links;
        (links.previous == nullptr ? first_ : (links.previous->*Links).next) = links.next;
        (links.next == nullptr ? last_ : (links.next->*Links).previous) = links.previous;
        element.*Links = {};
    }

  private:
    T* first_ = nullptr;
    T* last_ = nullptr;
};
