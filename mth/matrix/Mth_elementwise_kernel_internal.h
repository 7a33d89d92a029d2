// Element-wise operations, compiled per instruction set. The compiler makes the vectors: every element is an
// output of its own.

template <class T, class Operation>
void CombineElements(const T* left, const T* right, T* __restrict target, std::int64_t count,
                     Operation operation) {
  for (std::int64_t i = 0; i < count; ++i) target[i] = operation(left[i], right[i]);
}

template <class T, class Operation>
void MapElements(const T* source, T* __restrict target, std::int64_t count, Operation operation) {
  for (std::int64_t i = 0; i < count; ++i) target[i] = operation(source[i]);
}
