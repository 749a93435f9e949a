// Keeps the optimiser from folding a probe's work away: the object behind `p`
// may have been read or changed by code it cannot see.
#pragma once

namespace navreq_size {

template <class T>
inline void Escape(T* p) {
  asm volatile("" : : "r"(p) : "memory");
}

}  // namespace navreq_size
