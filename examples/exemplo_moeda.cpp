// The money value at work: one service priced the way the billing calculations do it.
// Unit prices travel with 8 decimals, quantities and totals in the servers' four-decimal currency.
#include <tqge.h>

#include <cstdio>

int main() {
    tagCY cy;

    cy.int64 = 1234567890; // unit price 12.34567890 (8 decimals)
    CGeCurrencyEx precoUnitario(cy, 8);
    cy.int64 = 37500; // 3.7500 hours
    CGeCurrencyEx quantidade(cy, 4);

    // The formatter always reads the raw integer as four decimals: an 8-decimal value prints
    // 10,000 times larger until it is converted.
    std::printf("Preço unitário cru (8 casas):    %s\n", precoUnitario.GetFormatado().GetString());
    precoUnitario.ConverteParaQuatroDecimais(true);
    std::printf("Preço unitário (4 casas):        %s\n", precoUnitario.GetFormatado().GetString());

    // The binary family reads both as four-decimal currency, as the OLE arithmetic does.
    CGeCurrencyEx total = precoUnitario * quantidade;
    std::printf("Total = preço x quantidade:      %s\n", total.GetFormatado().GetString());
    total.SetDecimais(4);
    std::printf("Total com quatro casas:          %s\n", total.GetFormatado().GetString());

    // Billing keeps two decimals, rounded with the house's repeated-5 addend.
    tagCY total2 = total.GetAsCurrency();
    CGeCurrencyEx::STrunca(total2, 4, 2);
    std::printf("Total arredondado a 2 casas:     %s\n",
                CGeCurrencyEx(total2, 2).GetFormatado().GetString());

    cy.int64 = 1250000000; // a 12.5% discount held as 125,000.0000
    std::printf("Desconto:                        %s%%\n",
                CGeCurrencyEx::ImprimeDesconto(cy).GetString());

    // The compound family is raw integer arithmetic: no rescaling.
    cy.int64 = 20000;
    CGeCurrencyEx dois(cy, 4);
    CGeCurrencyEx bruto = dois;
    bruto *= dois;
    std::printf("2,0000 * 2,0000 (binário):       %s\n",
                [&] {
                    CGeCurrencyEx r = dois * dois;
                    r.SetDecimais(4);
                    return r.GetFormatado();
                }()
                    .GetString());
    std::printf("2,0000 *= 2,0000 (composto):     %s\n", bruto.GetFormatado().GetString());

    cy.int64 = 70000;
    CGeCurrencyEx sete(cy, 4);
    CGeCurrencyEx quociente = sete / dois;
    quociente.SetDecimais(4);
    std::printf("7,0000 / 2,0000:                 %s\n", quociente.GetFormatado().GetString());
    return 0;
}
