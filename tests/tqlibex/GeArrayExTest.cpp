#include "tqlibex/base/GeArrayEx.h"

#include "tqlibex/base/TQString.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace {

CGeArrayEx<int> Numeros(std::initializer_list<int> v) {
    CGeArrayEx<int> a;
    for (int n : v)
        a.Add(n);
    return a;
}

std::string Texto(const CGeArrayEx<int>& a) {
    std::string s;
    for (int n : a)
        s += std::to_string(n) + ",";
    return s;
}

} // namespace

// Every operation that refuses an index names itself in the message.
TEST(GeArrayEx, ErroDeIndiceComTextoECodigo) {
    struct Caso {
        std::function<void(CGeArrayEx<int>&)> op;
        const char* texto;
    };
    const Caso casos[] = {
        {[](auto& a) { (void)a.GetAt(3); }, "ArrayExp - Ind:3, Size:3, Cod:1"},
        {[](auto& a) { a.SetAt(-1, 0); }, "ArrayExp - Ind:-1, Size:3, Cod:2"},
        {[](auto& a) { a.ElementAt(7) = 1; }, "ArrayExp - Ind:7, Size:3, Cod:3"},
        {[](auto& a) { a[3] = 1; }, "ArrayExp - Ind:3, Size:3, Cod:4"},
        {[](auto& a) { a.InsertAt(-2, 9); }, "ArrayExp - Ind:-2, Size:3, Cod:5"},
        {[](auto& a) { a.RemoveAt(2, 2); }, "ArrayExp - Ind:2, Size:3, Cod:6"},
        {[](auto& a) { a.RemoveAt(-1); }, "ArrayExp - Ind:-1, Size:3, Cod:6"},
        {[](auto& a) { a.SetSize(-5); }, "ArrayExp - Ind:-5, Size:3, Cod:7"},
        {[](auto& a) { a.SetAtGrow(-1, 0); }, "ArrayExp - Ind:-1, Size:3, Cod:8"},
        {[](auto& a) { a.InsertAt(4, &a); }, "ArrayExp - Ind:4, Size:3, Cod:9"},
    };
    for (const Caso& c : casos) {
        CGeArrayEx<int> a = Numeros({1, 2, 3});
        try {
            c.op(a);
            ADD_FAILURE() << "no exception, expected " << c.texto;
        } catch (const std::invalid_argument& e) {
            EXPECT_STREQ(e.what(), c.texto);
        }
        EXPECT_EQ(Texto(a), "1,2,3,") << "a refused operation changed the array: " << c.texto;
    }
    const CGeArrayEx<int> vazio;
    EXPECT_THROW((void)vazio[0], std::invalid_argument);
}

TEST(GeArrayEx, InsereERemove) {
    CGeArrayEx<int> a = Numeros({1, 2, 3});
    a.InsertAt(1, 9, 2);
    EXPECT_EQ(Texto(a), "1,9,9,2,3,");
    a.RemoveAt(0, 3);
    EXPECT_EQ(Texto(a), "2,3,");
    a.InsertAt(4, 7); // past the end grows with default elements, as MFC does
    EXPECT_EQ(Texto(a), "2,3,0,0,7,");
    a.SetAtGrow(6, 8);
    EXPECT_EQ(Texto(a), "2,3,0,0,7,0,8,");
    a.RemoveAt(7, 0); // removing nothing at the end is fine
    const CGeArrayEx<int> b = Numeros({5, 6});
    a.InsertAt(0, &b);
    EXPECT_EQ(Texto(a), "5,6,2,3,0,0,7,0,8,");
    a.RemoveAll();
    EXPECT_TRUE(a.IsEmpty());
    EXPECT_EQ(a.GetUpperBound(), -1);
}

TEST(GeArrayEx, AutoReferenciaSegura) {
    // Elements of the array itself passed back in must be copied before the storage moves.
    CGeArrayEx<CTQString> a;
    a.Add("primeiro");
    for (int i = 0; i < 100; ++i)
        a.Add(a[0]);
    a.InsertAt(0, a[5], 3);
    a.SetAtGrow(300, a[0]);
    EXPECT_EQ(a.GetSize(), 301);
    EXPECT_EQ(a[300], "primeiro");
    EXPECT_EQ(a[1], "primeiro");
    CGeArrayEx<int> n = Numeros({1, 2});
    EXPECT_EQ(n.Append(n), 2);
    EXPECT_EQ(Texto(n), "1,2,1,2,");
    n.InsertAt(1, &n);
    EXPECT_EQ(Texto(n), "1,1,2,1,2,2,1,2,");
}

TEST(GeArrayEx, CopiaETamanho) {
    CGeArrayEx<int> a = Numeros({1, 2, 3}), b;
    b.Copy(a);
    b.SetAt(0, 7);
    EXPECT_EQ(Texto(a), "1,2,3,");
    EXPECT_EQ(Texto(b), "7,2,3,");
    EXPECT_EQ(b.Append(a), 3);
    EXPECT_EQ(b.GetCount(), 6);
    b.SetSize(2);
    EXPECT_EQ(Texto(b), "7,2,");
    b.SetSize(4);
    EXPECT_EQ(Texto(b), "7,2,0,0,");
    EXPECT_EQ(b.GetData()[1], 2);
}
