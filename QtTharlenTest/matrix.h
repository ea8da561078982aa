// A small dense matrix with shared storage and copy on write: as much as the inverse of a 6 by 6 Jacobian needs.
// Copies cost a pointer; who writes to shared storage takes a copy of its own first. One thread at a time: the
// count of sharers is a plain int.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <utility>

namespace math {

/// What a matrix operation throws; what() is the message given to it.
class matrix_error : public std::logic_error {
public:
    using std::logic_error::logic_error;
};

template <class T>
class matrix {
public:
    /// Rows by columns; the values are undefined.
    matrix(std::size_t row, std::size_t col) : _m(new base_mat(row, col)) {}
    /// Shares the storage.
    matrix(const matrix& other) noexcept : _m(other._m) { ++_m->Refcnt; }
    ~matrix() { release(); }

    /// Shares the storage. The source gains its sharer before this loses one, so a matrix can be assigned to
    /// itself.
    matrix& operator=(const matrix& other) noexcept {  // NOLINT(bugprone-unhandled-self-assignment): by the count
        ++other._m->Refcnt;
        release();
        _m = other._m;
        return *this;
    }

    /// An element, for reading and writing, valid until the matrix is next copied, assigned or changed. Reading
    /// takes a copy of shared storage too, since it cannot be told from writing. Throws past either edge.
    T& operator()(std::size_t row, std::size_t col) {
        if (row >= _m->Row || col >= _m->Col)
            throw matrix_error("matrixT::operator(): Index out of range!");
        detach();
        return _m->Val[row][col];
    }

    /// Leaves the shared storage for a private copy of it.
    void clone() {
        auto* own = new base_mat(_m->Row, _m->Col);
        for (std::size_t i = 0; i < own->Row; ++i)
            std::copy_n(_m->Val[i], own->Col, own->Val[i]);
        release();
        _m = own;
    }

    /// Becomes the identity; of a matrix that is not square, the smaller side counts for both.
    void Unit() {
        detach();
        _m->Row = _m->Col = std::min(_m->Row, _m->Col);
        for (std::size_t i = 0; i < _m->Row; ++i) {
            std::fill_n(_m->Val[i], _m->Col, T(0));
            _m->Val[i][i] = T(1);
        }
    }

    /// Brings the largest element of column `row`, at or below row `row`, into that row. Of equals the first is
    /// taken. -1 where there are only zeros or no such row, 0 where nothing had to move, else the row it came from.
    int pivot(std::size_t row) {
        if (row >= _m->Row || row >= _m->Col)
            return -1;
        detach();
        T largest = T(0);
        std::size_t found = row;
        for (std::size_t i = row; i < _m->Row; ++i) {
            const T size = std::abs(_m->Val[i][row]);
            if (size > largest) {
                largest = size;
                found = i;
            }
        }
        if (_m->Val[found][row] == T(0))
            return -1;
        if (found == row)
            return 0;
        std::swap(_m->Val[found], _m->Val[row]);
        return static_cast<int>(found);
    }

    /// The inverse, by Gauss-Jordan elimination with partial pivoting. Meant: it works in place,
    /// this matrix holds the identity afterwards. Throws where the matrix is not square, or singular; what the
    /// elimination has reached by then stays behind.
    matrix Inv() {
        if (_m->Row != _m->Col)
            throw matrix_error("matrixT::operator!: Inversion of a non-square matrix");
        matrix result(_m->Row, _m->Col);
        detach();
        result.Unit();
        for (std::size_t k = 0; k < _m->Row; ++k) {
            const int swapped = pivot(k);
            if (swapped == -1)
                throw matrix_error("matrixT::operator!: Inversion of a singular matrix");
            if (swapped != 0)
                std::swap(result._m->Val[k], result._m->Val[swapped]);
            eliminate(k, result);
        }
        return result;
    }

    /// This matrix times the other. Throws where its columns are not as many as the other's rows.
    matrix& operator*=(const matrix& other) {
        if (_m->Col != other._m->Row)
            throw matrix_error("matrixT::operator*= : Inconsistent matrix sizes in multiplication!");
        matrix product(_m->Row, other._m->Col);
        for (std::size_t i = 0; i < product._m->Row; ++i) {
            for (std::size_t j = 0; j < product._m->Col; ++j) {
                T& sum = product._m->Val[i][j] = T(0);
                for (std::size_t k = 0; k < _m->Col; ++k)
                    sum += _m->Val[i][k] * other._m->Val[k][j];
            }
        }
        return *this = product;
    }

private:
    /// The storage. Each row is an allocation of its own, so that rows are swapped by their pointers.
    struct base_mat {
        T** Val;
        std::size_t Row, Col;        ///< in use
        std::size_t RowSiz, ColSiz;  ///< allocated
        int Refcnt = 1;              ///< matrices that share it

        base_mat(std::size_t row, std::size_t col) : base_mat(row) {
            // From here on the destructor runs even where a row cannot be had.
            Col = ColSiz = col;
            for (std::size_t i = 0; i < row; ++i)
                Val[i] = new T[col];
        }
        ~base_mat() {
            for (std::size_t i = 0; i < RowSiz; ++i)
                delete[] Val[i];
            delete[] Val;
        }
        base_mat(const base_mat&) = delete;
        base_mat& operator=(const base_mat&) = delete;

    private:
        explicit base_mat(std::size_t row) : Val(new T*[row]()), Row(row), Col(0), RowSiz(row), ColSiz(0) {}
    };

    void release() noexcept {
        if (--_m->Refcnt == 0)
            delete _m;
    }

    void detach() {
        if (_m->Refcnt > 1)
            clone();
    }

    /// Makes column k that of the identity, and does the same to the rows of `result`.
    void eliminate(std::size_t k, matrix& result) {
        const std::size_t size = _m->Row;
        T** const a = _m->Val;
        T** const inverse = result._m->Val;
        const T divisor = a[k][k];
        for (std::size_t j = 0; j < size; ++j) {
            a[k][j] /= divisor;
            inverse[k][j] /= divisor;
        }
        for (std::size_t r = 0; r < size; ++r) {
            if (r == k)
                continue;
            const T factor = a[r][k];
            for (std::size_t j = 0; j < size; ++j) {
                a[r][j] -= factor * a[k][j];
                inverse[r][j] -= factor * inverse[k][j];
            }
        }
    }

    base_mat* _m;
};

/// The product, a new matrix. Throws as operator*= does.
template <class T>
matrix<T> operator*(const matrix<T>& left, const matrix<T>& right) {
    matrix<T> product(left);
    product *= right;
    return product;
}

}  // namespace math
