#include <tqge.h>

#include <cstdio>
#include <cstring>

int main() {
    tagCY cy;
    cy.int64 = 70000;
    const CGeCurrencyEx sete(cy, 4);
    cy.int64 = 20000;
    CGeCurrencyEx quociente = sete / CGeCurrencyEx(cy, 4);
    quociente.SetDecimais(2);
    const CTQString texto = quociente.GetFormatado();
    std::printf("7,0000 / 2,0000 = %s\n", texto.GetString());
    return std::strcmp(texto, "3,50") == 0 ? 0 : 1;
}
