#!/usr/bin/env python3
"""Mutation testing of tqge's C++ sources: how many small faults do the tests notice?

    nice -n 10 python3 tools/mutacao.py --saida mutacao.tsv  # six default files, 60 each
    python3 tools/mutacao.py --listar                        # show the sample, run nothing
    python3 tools/mutacao.py --so 'tqlibex/clock/Relogio.cpp:132:81:CONST:6~7'  # re-check one
    python3 tools/mutacao.py tqlibex/registry/Registro.cpp --amostra 0   # every mutant of one file

Operators: ROR (comparison swapped), AOR (arithmetic swapped, compound forms too), CONST
(integer constant +1 / -1), COND (if/while condition negated), DEL (simple statement removed).
The sample depends only on the file's text and --semente, never on the tests. Each mutant is
written into the tree, the build directory (the default preset without benchmarks and
examples) is rebuilt and ctest runs; the original file is always written back and checked.
Results: morto-teste, morto-compilacao, morto-timeout, sobreviveu.
"""
import argparse, os, random, re, resource, signal, subprocess, sys, time
from pathlib import Path

PADRAO = ['foundation/GeCurrencyEx.cpp', 'tqlibex/money/OleAutMoeda.cpp', 'tqlibex/clock/Relogio.cpp',
          'tqlibex/diagnostics/TraceHResult.cpp', 'tqlibex/com/TQComPtr.cpp', 'tqlibex/registry/Registro.cpp']
LIMITE_MEMORIA = 4 << 30  # address space of each test process, bytes
ROR = {'<': ['<=', '>'], '<=': ['<', '>'], '>': ['>=', '<'], '>=': ['>', '<'],
       '==': ['!='], '!=': ['==']}
AOR = {'+': ['-'], '-': ['+'], '*': ['/'], '/': ['*'], '%': ['/'],
       '+=': ['-='], '-=': ['+='], '*=': ['/='], '/=': ['*='], '%=': ['/=']}
# Words after which an operator is unary (or not an operator at all).
NAO_OPERANDO = {'return', 'case', 'throw', 'sizeof', 'new', 'delete', 'else', 'do', 'operator',
                'typename', 'template', 'co_return', 'co_yield', 'alignof'}
DECLARA = {'const', 'constexpr', 'static', 'auto', 'int', 'unsigned', 'signed', 'char', 'bool',
           'long', 'short', 'double', 'float', 'void', 'using', 'typedef', 'struct', 'class',
           'enum', 'template', 'thread_local', 'volatile', 'extern', 'goto', 'inline',
           'typename', 'wchar_t', 'namespace'}
PONTUACAO = sorted('<=> <<= >>= ->* ... -> :: << >> <= >= == != && || ++ -- += -= *= /= %= &= |= '
                   '^='.split(), key=len, reverse=True)
TOKEN = re.compile(r'\s+|(?P<id>[A-Za-z_]\w*)|(?P<num>\.?\d(?:[eEpP][+-]|[\w.\'])*)'
                   r'|(?P<lit>"[^"]*"|\'[^\']*\')|(?P<p>' +
                   '|'.join(re.escape(p) for p in PONTUACAO) + r'|.)', re.S)


def mascara(texto):
    """The text with comments, literals' contents and preprocessor lines blanked (same length,
    newlines kept), so that offsets map straight back to the original."""
    saida, i, n, inicio_linha = list(texto), 0, len(texto), True

    def apaga(a, b):
        for k in range(a, b):
            saida[k] = saida[k] if saida[k] == '\n' else ' '

    while i < n:
        c = texto[i]
        if inicio_linha and c == '#':
            j = i
            while j < n and not (texto[j] == '\n' and texto[j - 1] != '\\'):
                j += 1
            apaga(i, j)
            i = j
            continue
        inicio_linha = c == '\n' or inicio_linha and c.isspace()
        if texto.startswith('//', i):
            j = texto.find('\n', i)
            j = n if j < 0 else j
            apaga(i, j)
        elif texto.startswith('/*', i):
            j = texto.find('*/', i + 2)
            j = n if j < 0 else j + 2
            apaga(i, j)
        elif c == '"' and re.search(r'(?<!\w)(?:u8|u|U|L)?R$', texto[max(0, i - 3):i]):
            delim = re.compile(r'"([^(\s]*)\(').match(texto, i).group(1)
            j = texto.find(')' + delim + '"', i) + len(delim) + 2
            apaga(i + 1, j - 1)
        elif c in '"\'':
            k = i - 1  # a quote inside a number is a digit separator
            while k >= 0 and (texto[k].isalnum() or texto[k] in "_'"):
                k -= 1
            j = i + 1
            if c == "'" and k + 1 < i and texto[k + 1].isdigit():
                i = j
                continue
            while j < n and texto[j] != c:
                j += 2 if texto[j] == '\\' else 1
            apaga(i + 1, j)
            j += 1
        else:
            j = i + 1
        i = j
    return ''.join(saida)


class Analise:
    """Tokens of the masked text, and the conditions and statements of its function bodies."""

    def __init__(self, codigo):
        self.t = [(m.lastgroup, m.group(), m.start()) for m in TOKEN.finditer(codigo)
                  if m.lastgroup]
        while 'static_assert' in (nomes := [s for _, s, _ in self.t]):  # compile time only
            i = nomes.index('static_assert')
            del self.t[i:self.fecha(i + 1)]
        self.template = set()  # indices of '<' and '>' that are template brackets
        for i, (_, s, _) in enumerate(self.t):
            if s == '<' and self.tipo(i - 1) == 'id' and self.txt(i - 1) != 'operator':
                self.marca_template(i)
        self.condicoes, self.instrucoes = [], []
        self.topo()

    def txt(self, i, campo=1):
        return self.t[i][campo] if 0 <= i < len(self.t) else ''

    def tipo(self, i):
        return self.txt(i, 0)

    def marca_template(self, i):
        """Marks i and its closing '>' when only names, numbers, '::', '*', '&', ',' lie
        between: std::vector<int>, static_cast<unsigned long>, but not a < b && c > d."""
        nivel, colchetes = 0, []
        for j in range(i, min(len(self.t), i + 40)):
            tipo, s, _ = self.t[j]
            if s in ('<', '>', '>>'):
                nivel += 1 if s == '<' else -len(s)
                colchetes.append(j)
                if nivel <= 0:
                    self.template.update(colchetes)
                    return
            elif tipo not in ('id', 'num') and s not in ('::', '*', '&', ',', '...'):
                return

    def fecha(self, i, abre='(', fecha=')'):
        """Index just past the bracket that closes the one at i."""
        nivel = 0
        for j in range(i, len(self.t)):
            nivel += (self.t[j][1] == abre) - (self.t[j][1] == fecha)
            if nivel == 0:
                return j + 1
        return len(self.t)

    def topo(self):
        """Namespace level: function bodies are parsed, initialiser braces skipped."""
        i, inicio = 0, 0
        while i < len(self.t):
            s = self.t[i][1]
            if s == '{':
                if self.txt(i - 1) in (')', 'const', 'noexcept', 'override', 'final'):
                    i = self.bloco(i)
                elif self.txt(inicio) in ('namespace', 'struct', 'class', 'union', 'extern'):
                    i += 1
                else:
                    i = self.fecha(i, '{', '}')
                inicio = i
                continue
            if s in (';', '}'):
                inicio = i + 1
            i += 1

    def bloco(self, i):
        i += 1
        while i < len(self.t) and self.t[i][1] != '}':
            i = self.instrucao(i)
        return i + 1

    def instrucao(self, i):
        """Parses the statement at i; returns the index past it."""
        s, prox = self.txt(i), self.txt(i + 1)
        if s == '{':
            return self.bloco(i)
        if s in ('if', 'while', 'switch', 'for'):
            k = i + 2 if prox == 'constexpr' else i + 1
            fim = self.fecha(k)
            if s in ('if', 'while'):
                self.condicoes.append((k, fim - 1))
            k = self.instrucao(fim)
            return self.instrucao(k + 1) if s == 'if' and self.txt(k) == 'else' else k
        if s == 'do':
            k = self.instrucao(i + 1)  # then: while ( ... ) ;
            fim = self.fecha(k + 1)
            self.condicoes.append((k + 1, fim - 1))
            return fim + 1
        if s == 'case':
            while i < len(self.t) and self.t[i][1] != ':':
                i += 1
            return i + 1
        if self.tipo(i) == 'id' and prox == ':':  # default and other labels
            return i + 2
        k, nivel = i, 0
        while k < len(self.t):
            x = self.t[k][1]
            if x == '{':  # a lambda's body holds statements; other braces are initialisers
                lambda_ = self.txt(k - 1) in (')', ']', 'mutable')
                k = self.bloco(k) if lambda_ else self.fecha(k, '{', '}')
                continue
            if x in (';', '}') and nivel == 0:
                break
            nivel += (x in ('(', '[')) - (x in (')', ']'))
            k += 1
        if self.txt(k) != ';':
            return k  # no ';' before the block ends (a macro): leave it alone
        if self.removivel(i, k):
            self.instrucoes.append((i, k))
        return k + 1

    def removivel(self, i, fim):
        """Whether the statement i..fim (its ';') may go: not a declaration, and a return only
        without a value (dropping one would not compile)."""
        s = self.txt(i)
        if s == 'return':
            return fim == i + 1
        if s in DECLARA or i == fim:
            return False
        if self.tipo(i) != 'id' or s in ('delete', 'throw', 'break', 'continue'):
            return True
        k = i  # Type [::Name] [<...>] [*|&|const]... name followed by = ; ( { [ ,
        while self.tipo(k) == 'id' and self.txt(k + 1) == '::':
            k += 2
        k += 1
        if self.txt(k) == '<' and k in self.template:
            k = self.fecha(k, '<', '>')
        while self.txt(k) in ('*', '&', '&&', 'const'):
            k += 1
        return not (self.tipo(k) == 'id' and self.txt(k + 1) in ('=', ';', '(', '{', '[', ','))

    def binario(self, i):
        """Whether the operator at i has an operand on each side."""
        (antes, a, _), (depois, d, _) = self.t[i - 1], self.t[i + 1]
        return ((antes == 'id' and a not in NAO_OPERANDO) or antes in ('num', 'lit') or
                a in (')', ']')) and (depois in ('id', 'num', 'lit') or
                                      d in ('(', '!', '~', '-', '*', '&', '::'))


def numero(s):
    """(value, rewrite) of an integer literal (keeping base, digit case and suffix), or None."""
    m = re.fullmatch(r"(0[xX]|0[bB]|0(?=[0-7']))?([0-9A-Fa-f']+?)([uUlLzZ]*)", s)
    if not m or not s[0].isdigit() or \
            (m.group(1) or '').lower() != '0x' and re.search('[a-fA-F]', m.group(2)):
        return None  # floating point, or not a number
    prefixo, digitos, sufixo = m.group(1) or '', m.group(2).replace("'", ''), m.group(3)
    base = {'0x': 16, '0b': 2, '0': 8, '': 10}[prefixo.lower()]
    forma = {2: 'b', 8: 'o', 10: 'd', 16: 'X' if digitos.upper() == digitos else 'x'}[base]
    largura = len(digitos) if base == 16 else 0
    return int(digitos, base), lambda v: prefixo + format(v, forma).zfill(largura) + sufixo


def mutantes(arquivo, texto):
    """Every candidate mutant of one file, in source order, each with a stable id."""
    a = Analise(mascara(texto))
    achados = []  # (start, end, operator, replacement)
    for i, (tipo, s, p) in enumerate(a.t):
        fim = p + len(s)
        binario = 0 < i < len(a.t) - 1 and a.binario(i)
        if s in ROR and binario and i not in a.template:
            achados += [(p, fim, 'ROR', r) for r in ROR[s]]
        elif s in AOR and (s.endswith('=') or binario and
                           # '+' beside a string literal joins strings; '-' would not compile.
                           '"' not in a.t[i - 1][1][:1] + a.t[i + 1][1][:1] and
                           # T* p declares: only a spaced '*' multiplies (the house style).
                           (s != '*' or texto[p - 1].isspace() and texto[fim].isspace())):
            achados += [(p, fim, 'AOR', r) for r in AOR[s]]
        elif tipo == 'num' and (n := numero(s)):
            v, escreve = n
            achados += [(p, fim, 'CONST', escreve(w)) for w in (v + 1, v - 1) if 0 <= w < 2**64]
    for abre, fecha in a.condicoes:
        p, q = a.t[abre][2], a.t[fecha][2]
        achados.append((p, q + 1, 'COND', '(!(' + texto[p + 1:q] + '))'))
    for ini, fim in a.instrucoes:
        p, q = a.t[ini][2], a.t[fim][2] + 1
        # Kept line count: __LINE__ (the trace lines) must not move under the rest of the file.
        achados.append((p, q, 'DEL', '{}' + '\n' * texto.count('\n', p, q)))
    resultado, vistos = [], set()
    for p, q, op, novo in sorted(achados, key=lambda m: (m[0], m[1])):
        linha = texto.count('\n', 0, p) + 1
        original = ' '.join(texto[p:q].split())
        ident = f'{arquivo}:{linha}:{p - texto.rfind(chr(10), 0, p)}:{op}'
        if op in ('ROR', 'AOR', 'CONST'):
            ident += f':{original}~{novo}'
        if ident not in vistos:
            vistos.add(ident)
            resultado.append(dict(id=ident, arquivo=arquivo, linha=linha, op=op,
                                  original=original, mutado=' '.join(novo.split()),
                                  texto=texto[:p] + novo + texto[q:]))
    return resultado


def amostra(lista, n, semente, arquivo):
    if n <= 0 or n >= len(lista):
        return lista
    rng = random.Random(f'{semente}:{arquivo}')  # per file: other files do not shift it
    return [lista[k] for k in sorted(rng.sample(range(len(lista)), n))]


def limita_memoria():
    # A mutant that loops while appending would otherwise eat the machine before its timeout.
    resource.setrlimit(resource.RLIMIT_AS, (LIMITE_MEMORIA, LIMITE_MEMORIA))


def roda(cmd, cwd, limite, antes=None):
    """(exit code, or None on timeout; output). The process group goes with any exit."""
    proc = subprocess.Popen(cmd, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                            text=True, errors='replace', start_new_session=True,
                            preexec_fn=antes)
    try:
        saida = proc.communicate(timeout=limite)[0]
        return proc.returncode, saida
    except subprocess.TimeoutExpired:
        return None, ''
    finally:
        if proc.poll() is None:
            os.killpg(proc.pid, signal.SIGKILL)
            proc.wait()


def compila(args):
    cmd = ['cmake', '--build', str(args.build), '-j', str(args.jobs)]
    return roda(cmd, args.fonte, 3600)[0] == 0


def testa(args):
    """None when every test passed, otherwise (result, failed tests)."""
    cmd = ['ctest', '--test-dir', str(args.build), '-j2', '--timeout', str(args.timeout)]
    codigo, saida = roda(cmd, args.fonte, args.timeout * 10 + 120, limita_memoria)
    if codigo == 0:
        return None
    falhas = re.findall(r'^\s*\d+ - (\S+) \(([^)]*)\)', saida, re.M)
    tempo = codigo is None or any('Timeout' in c for _, c in falhas)
    nomes = ','.join(n if c == 'Failed' else f'{n}({c})' for n, c in falhas)
    return ('morto-timeout' if tempo else 'morto-teste'), nomes


def prepara(args):
    cmd = ['cmake', '--preset', 'default', '-B', str(args.build), '-DTQGE_BUILD_BENCH=OFF',
           '-DTQGE_BUILD_EXAMPLES=OFF']
    if subprocess.run(cmd, cwd=args.fonte, capture_output=True).returncode != 0:
        sys.exit(f'mutacao: configuring {args.build} failed; run: {" ".join(cmd)}')
    if not compila(args):
        sys.exit('mutacao: the unmutated tree does not build; fix it first')
    inicio = time.monotonic()
    if falha := testa(args):
        sys.exit(f'mutacao: the unmutated tree fails its tests ({falha[0]}: {falha[1]})')
    print(f'mutacao: unmutated tests pass in {time.monotonic() - inicio:.1f} s', flush=True)


def executa(args, m):
    """(result, failed tests, seconds) of one mutant; the source file is always restored."""
    caminho = args.fonte / m['arquivo']
    original = caminho.read_bytes()
    copia = args.build / 'mutacao-original' / m['arquivo']
    copia.parent.mkdir(parents=True, exist_ok=True)
    copia.write_bytes(original)  # survives a kill -9; checked at the next start
    inicio = time.monotonic()
    try:
        caminho.write_bytes(m['texto'].encode('utf-8', 'surrogateescape'))
        resultado = (testa(args) or ('sobreviveu', '')) if compila(args) else \
            ('morto-compilacao', '')
    finally:
        sinais = {signal.SIGINT, signal.SIGTERM}
        signal.pthread_sigmask(signal.SIG_BLOCK, sinais)  # a signal waits for the restore
        try:
            caminho.write_bytes(original)
            if caminho.read_bytes() != original:
                sys.exit(f'mutacao: could not restore {caminho}; the original is {copia}')
            copia.unlink()
        finally:
            signal.pthread_sigmask(signal.SIG_UNBLOCK, sinais)
    return resultado + (round(time.monotonic() - inicio),)


def interrompe(*_):
    raise KeyboardInterrupt


def main():
    ap = argparse.ArgumentParser(description=__doc__.split('\n')[0])
    ap.add_argument('arquivos', nargs='*', default=PADRAO, help='files relative to --fonte')
    ap.add_argument('--fonte', type=Path, default=Path(__file__).resolve().parent.parent,
                    help='source tree (default: the repository holding this script)')
    ap.add_argument('--build', type=Path, help='build directory (default: FONTE/build/mutacao)')
    ap.add_argument('--amostra', type=int, default=60, help='mutants per file (0: all)')
    ap.add_argument('--semente', default='2026', help='seed of the sample')
    ap.add_argument('--timeout', type=int, default=60, help='seconds per test')
    ap.add_argument('--jobs', type=int, default=2, help='build parallelism')
    ap.add_argument('--saida', type=Path, help='TSV report, one row per mutant')
    ap.add_argument('--listar', action='store_true', help='print the sample and stop')
    ap.add_argument('--so', help='only these ids, comma separated (sampled or not)')
    args = ap.parse_args()
    args.fonte = args.fonte.resolve()
    args.build = (args.build or args.fonte / 'build' / 'mutacao').resolve()

    pedidos = set(args.so.split(',')) if args.so else set()
    escolhidos = []
    for arquivo in args.arquivos:
        todos = mutantes(arquivo, (args.fonte / arquivo).read_bytes().decode('utf-8',
                                                                             'surrogateescape'))
        escolhidos += [m for m in todos if m['id'] in pedidos] if pedidos else \
            amostra(todos, args.amostra, args.semente, arquivo)
    if desconhecidos := pedidos - {m['id'] for m in escolhidos}:
        sys.exit('mutacao: unknown id(s): ' + ', '.join(sorted(desconhecidos)))
    if args.listar:
        for m in escolhidos:
            print(f"{m['id']}\t{m['original']}  ->  {m['mutado']}")
        return

    if restos := [p for p in (args.build / 'mutacao-original').rglob('*') if p.is_file()]:
        sys.exit(f'mutacao: an earlier run was killed mid-mutant; copy {restos[0]} back over '
                 'the source file, delete it, and run again')
    signal.signal(signal.SIGTERM, interrompe)  # unwinds like Ctrl-C: the file goes back
    t0 = time.monotonic()
    print(f'mutacao: building and testing the unmutated tree in {args.build}', flush=True)
    prepara(args)
    relatorio = open(args.saida, 'w', encoding='utf-8') if args.saida else None
    if relatorio:  # row by row: an interrupted run keeps what it measured
        relatorio.write('id\tarquivo\tlinha\toperador\toriginal\tmutado\tresultado\tdetalhe\t'
                        'segundos\n')
    resultados = []
    for n, m in enumerate(escolhidos, 1):
        try:
            resultado, detalhe, segundos = executa(args, m)
        except KeyboardInterrupt:
            sys.exit(f'mutacao: interrupted at {m["id"]}; {m["arquivo"]} is restored')
        resultados.append((m['arquivo'], resultado))
        print(f'[{n}/{len(escolhidos)}] {resultado:16} {segundos:4}s  {m["id"]}  '
              f'{m["original"]}  ->  {m["mutado"]}  {detalhe}', flush=True)
        if relatorio:
            campos = (m['id'], m['arquivo'], m['linha'], m['op'], m['original'], m['mutado'],
                      resultado, detalhe, segundos)
            relatorio.write('\t'.join(map(str, campos)) + '\n')
            relatorio.flush()

    print('\nfile\tkilled/total\tscore\t(test, compile, timeout)')
    for arquivo in args.arquivos + [None]:
        doarq = [r for a, r in resultados if arquivo in (None, a)]
        mortos = [r for r in doarq if r.startswith('morto')]
        partes = tuple(doarq.count(f'morto-{k}') for k in ('teste', 'compilacao', 'timeout'))
        if doarq:
            print(f'{arquivo or "TOTAL"}\t{len(mortos)}/{len(doarq)}\t'
                  f'{100 * len(mortos) / len(doarq):.1f}%\t{partes}')
    print(f'({round(time.monotonic() - t0)} s)')


if __name__ == '__main__':
    main()
