// The small matrix against a second opinion in double precision, its refusals, its shared storage, and the force
// that is made with it.
#include <Eigen/LU>
#include <QtTest>
#include <limits>

#include "torquestoforce.h"

using Eigen::MatrixXd;
using Matrix = math::matrix<float>;

namespace {

/// Random, with this ratio of greatest to least singular value, in numbers that float holds: mirrored twice.
MatrixXd conditioned(int size, double condition) {
    const auto mirror = [size] {
        const MatrixXd normal = MatrixXd::Random(size, 1);
        return MatrixXd(MatrixXd::Identity(size, size) - 2 / normal.squaredNorm() * normal * normal.transpose());
    };
    MatrixXd values = mirror();
    for (int i = 0; i < size; ++i)
        values.col(i) *= std::pow(condition, -i / std::max(1.0, size - 1.0));
    return (values * mirror()).cast<float>().cast<double>();
}
Matrix fromEigen(const MatrixXd& values) {
    Matrix made(values.rows(), values.cols());
    for (int i = 0; i < values.size(); ++i)
        made(i % values.rows(), i / values.rows()) = static_cast<float>(values(i));
    return made;
}
MatrixXd toEigen(Matrix values, int rows, int cols) {
    return MatrixXd::NullaryExpr(rows, cols, [&](int i, int j) { return values(i, j); });
}
/// What float can promise of a solution, relative to it: the error grows with the condition (of Frobenius' norm).
double errorBound(const MatrixXd& solved, const MatrixXd& inverse) {
    return solved.norm() * inverse.norm() * std::numeric_limits<float>::epsilon();
}

}  // namespace

class TestMatrix : public QObject {
    Q_OBJECT

private slots:
    // In place on storage that is shared: the copy keeps the values, the operand ends as the identity.
    void inverseAndForce() {
        for (int round = 0; round < 4000; ++round) {
            const int size = round % 3 == 0 ? 1 + round % 9 : 6;
            MatrixXd values = conditioned(size, std::pow(10.0, round % 6));
            if (round % 5 == 0 && size > 1)
                values(0, 0) = 0;
            const MatrixXd expected = values.inverse();
            Matrix operand = fromEigen(values);
            const Matrix copy = operand;
            const MatrixXd found = toEigen(operand.Inv(), size, size);
            QVERIFY((found - expected).norm() <= errorBound(values, expected) * expected.norm());
            QCOMPARE(toEigen(operand, size, size), MatrixXd(MatrixXd::Identity(size, size)));
            QCOMPARE(toEigen(copy, size, size), values);
            if (size != 6)
                continue;
            double jacobian[6][6];
            for (int i = 0; i < 36; ++i)
                jacobian[i / 6][i % 6] = values(i / 6, i % 6);
            const Eigen::VectorXf torques = Eigen::VectorXf::Random(6);
            const MatrixXd force = toEigen(transformTorquesToForce(jacobian, torques.data()), 6, 1);
            QVERIFY((force - expected * torques.cast<double>()).norm()
                    <= 2 * errorBound(values, expected) * expected.norm() * torques.norm());
        }
    }

    // Whole numbers, so that float is exact.
    void product() {
        for (const auto& [rows, inner, cols] : {std::array<int, 3>{3, 1, 4}, {7, 8, 6}}) {
            const MatrixXd left = (8 * MatrixXd::Random(rows, inner)).array().round();
            const MatrixXd right = (8 * MatrixXd::Random(inner, cols)).array().round();
            QCOMPARE(toEigen(fromEigen(left) * fromEigen(right), rows, cols), MatrixXd(left * right));
        }
    }

    void refusals() {
        const std::tuple<int, int, std::function<void(Matrix&)>> refused[] = {
            {2, 3, [](Matrix& m) { m(2, 0) = 1; }},
            {2, 3, [](Matrix& m) { m(0, 3) = 1; }},
            {2, 3, [](Matrix& m) { m.Unit(), m(0, 2) = 1; }},
            {2, 3, [](Matrix& m) { m.Inv(); }},
            {1, 1, [](Matrix& m) { m.Inv(); }},
            {3, 3, [](Matrix& m) { m.Inv(); }},
            {2, 3, [](Matrix& m) { m *= m; }}};
        for (const auto& [rows, cols, act] : refused) {
            // Its rows are multiples of one another.
            const MatrixXd values = MatrixXd::NullaryExpr(rows, cols, [](int i, int j) { return i * j; });
            Matrix made = fromEigen(values);
            const Matrix copy = made;
            QVERIFY_EXCEPTION_THROWN(act(made), math::matrix_error);
            QCOMPARE(toEigen(copy, rows, cols), values);
        }
    }

    // Of those that share, whoever asks for an element leaves the storage to the others, even if it only reads.
    void storageIsSharedUntilAsked() {
        Matrix first = fromEigen(MatrixXd::Constant(3, 3, 5));
        const float* const storage = &first(0, 0);
        Matrix second(first), third(1, 1);
        third = first;
        QVERIFY(&first(0, 0) != storage && first(0, 0) == 5);
        second(0, 0) = 6;
        third = *&third;
        QVERIFY(&third(0, 0) == storage && third(0, 0) == 5);
    }
};

QTEST_APPLESS_MAIN(TestMatrix)
#include "tst_matrix.moc"
