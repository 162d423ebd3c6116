#!/usr/bin/env python3
"""tqcalc lote from the outside, as the billing department runs it.

  lote.py igual        --tqcalc T --gera G --pasta DIR [--contratos N] [--amostra K]
      a month billed by `tqcalc lote` equals single `tqcalc` runs, contract by contract: every
      contract from its own scenario (as --gravar writes one), and a sample of them chosen with
      --contrato out of the month's file; the run over the file and over the folder write the
      same summary;
  lote.py interrompido --tqcalc T --gera G --pasta DIR [--contratos N] [--mortes K]
      the run killed at random moments (SIGKILL; the journal then cut at a random byte or left
      with zeros after its end, as a power cut leaves it; a full disk) and started again with the
      same arguments ends with the summary of an uninterrupted run, byte for byte, and no
      contract twice in the journal;
  lote.py partes       --tqcalc T --gera G --pasta DIR [--contratos N]
      shares billed apart and joined equal the whole; overlapping, missing and unfinished shares
      are refused;
  lote.py conferencia  --tqcalc T --gera G --pasta DIR [--contratos N]
      the conference against what was invoiced lists exactly the contracts altered, and those on
      one side only.

Exits 1 on the first difference, saying what differs.
"""

import argparse
import json
import os
import random
import resource
import shutil
import signal
import subprocess
import sys
import time

MES = "03/2024"


def falha(texto):
    print("FALHA: " + texto, file=sys.stderr)
    sys.exit(1)


def roda(args, comando, codigos=(0,), **kw):
    r = subprocess.run(args.emulador + comando, capture_output=True, **kw)
    if r.returncode not in codigos:
        falha("%s: código %d (esperado %s)\n%s%s" % (" ".join(comando), r.returncode, codigos,
                                                       r.stdout.decode(errors="replace"),
                                                       r.stderr.decode(errors="replace")))
    return r


def gera(args, destino, *extra):
    roda(args, [args.gera, *destino, "--contratos", str(args.contratos), "--semente",
                str(args.semente), "--mes", MES, "--falhos", "23", *extra])


def le(caminho, modo="rb"):
    with open(caminho, modo) as f:
        return f.read()


def diario(pasta):
    """The journal's entries by code; fails on a torn line or a contract twice."""
    entradas = {}
    texto = le(os.path.join(pasta, "notas.jsonl"))
    if texto and not texto.endswith(b"\n"):
        falha(pasta + "/notas.jsonl: termina sem fim de linha")
    for n, linha in enumerate(texto.splitlines(), 1):
        e = json.loads(linha, object_pairs_hook=lambda pares: pares)
        if not e or e[0][0] != "contrato":
            falha("%s/notas.jsonl:%d: não começa com \"contrato\"" % (pasta, n))
        codigo = e[0][1]
        if codigo in entradas:
            falha("%s/notas.jsonl:%d: o contrato %s aparece duas vezes" % (pasta, n, codigo))
        entradas[codigo] = e[1:]
    return entradas


def codigos(caminho_lista):
    return [c for c in le(caminho_lista, "r").split("\n") if c]


def lote(args, entrada, saida, *extra, codigos_ok=(0, 1)):
    return roda(args, [args.tqcalc, "lote", entrada, "--mes", MES, "--saida", saida, *extra],
                codigos_ok)


def resumo(pasta):
    return le(os.path.join(pasta, "resumo.csv"))


# ---- igual ------------------------------------------------------------------------------------

def igual(args):
    mes, pasta_casos = os.path.join(args.pasta, "mes.json"), os.path.join(args.pasta, "casos")
    lista = os.path.join(args.pasta, "lista.txt")
    gera(args, [mes], "--lista", lista)
    gera(args, ["--pasta", pasta_casos])
    lote(args, mes, os.path.join(args.pasta, "do-arquivo"), "--threads", "2")
    lote(args, pasta_casos, os.path.join(args.pasta, "da-pasta"), "--threads", "2")
    if resumo(os.path.join(args.pasta, "do-arquivo")) != resumo(os.path.join(args.pasta, "da-pasta")):
        falha("o lote do arquivo e o da pasta de cenários diferem")
    entradas = diario(os.path.join(args.pasta, "do-arquivo"))
    todos = codigos(lista)
    if sorted(entradas) != sorted(todos):
        falha("o diário não tem exatamente os contratos do mês")
    linhas = resumo(os.path.join(args.pasta, "do-arquivo")).decode().splitlines()
    status = {l.split(";")[0]: l.split(";") for l in linhas[1:]}
    amostra = set(random.Random(args.semente).sample(todos, min(args.amostra, len(todos))))
    falhos = 0
    for codigo in todos:
        comandos = [[args.tqcalc, os.path.join(pasta_casos, codigo + ".json"), "--mes", MES,
                     "--json"]]
        if codigo in amostra:
            comandos.append([args.tqcalc, mes, "--contrato", codigo, "--mes", MES, "--json"])
        for comando in comandos:
            r = roda(args, comando, (0, 1, 3))
            so = json.loads(r.stdout, object_pairs_hook=lambda pares: pares)
            if so != entradas[codigo]:
                falha("contrato %s: o lote deu\n%s\ne %s deu\n%s" %
                      (codigo, entradas[codigo], " ".join(comando), so))
            linha = status[codigo]
            esperado = {"S_OK": 0, "DISP_E_OVERFLOW": 3}.get(linha[1], 1)
            if r.returncode != esperado:
                falha("contrato %s: status %s no resumo, código %d sozinho" %
                      (codigo, linha[1], r.returncode))
            total = dict(so)["totalNota"]
            if (total or "").replace(".", ",") != linha[4]:
                falha("contrato %s: total_nota %r no resumo, totalNota %r" %
                      (codigo, linha[4], total))
        falhos += status[codigo][1] != "S_OK"
    if falhos == 0:
        falha("nenhum contrato falhou: o mês não testa as falhas")
    print("igual: %d contratos (%d com falha), %d também escolhidos do arquivo do mês" %
          (len(todos), falhos, len(amostra)))


# ---- interrompido -----------------------------------------------------------------------------

def interrompido(args):
    mes = os.path.join(args.pasta, "mes.json")
    gera(args, [mes])
    inteiro = os.path.join(args.pasta, "inteiro")
    t0 = time.monotonic()
    lote(args, mes, inteiro, "--threads", "2")
    duracao = time.monotonic() - t0
    referencia, entradas = resumo(inteiro), diario(inteiro)
    tamanho_final = os.path.getsize(os.path.join(inteiro, "notas.jsonl"))

    pasta = os.path.join(args.pasta, "interrompido")
    notas = os.path.join(pasta, "notas.jsonl")
    g = random.Random(args.semente)
    comando = args.emulador + [args.tqcalc, "lote", mes, "--mes", MES, "--saida", pasta,
                               "--threads", "2"]
    maneiras = {"tempo": 0, "diario": 0, "corte": 0, "zeros": 0, "disco": 0, "terminou": 0}
    for tentativa in range(args.mortes):
        jeito = g.choice(["tempo", "diario", "diario", "corte", "zeros", "disco"])
        if jeito == "disco":
            # A full disk: the journal may grow by a random amount more, then every write fails.
            atual = os.path.getsize(notas) if os.path.exists(notas) else 0
            limite = atual + g.randrange(1, max(2, tamanho_final // 4))

            def limita(limite=limite):
                resource.setrlimit(resource.RLIMIT_FSIZE, (limite, limite))
                signal.signal(signal.SIGXFSZ, signal.SIG_IGN)

            r = subprocess.run(comando, capture_output=True, preexec_fn=limita)
            if r.returncode not in (0, 1):
                falha("disco cheio: código %d\n%s" % (r.returncode, r.stderr.decode()))
            maneiras["disco" if r.returncode == 1 else "terminou"] += 1
            continue
        p = subprocess.Popen(comando, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        if jeito == "tempo":
            alvo = time.monotonic() + g.uniform(0, duracao)
            while p.poll() is None and time.monotonic() < alvo:
                time.sleep(0.001)
        else:
            # When the journal reaches a random size: the kills land while contracts are billed.
            alvo = g.uniform(0, tamanho_final)
            while p.poll() is None and (not os.path.exists(notas) or
                                        os.path.getsize(notas) < alvo):
                time.sleep(0.0005)
        if p.poll() is not None:
            maneiras["terminou"] += 1
            continue
        p.send_signal(signal.SIGKILL)
        p.wait()
        maneiras[jeito] += 1
        if jeito in ("corte", "zeros") and os.path.exists(notas):
            # A power cut keeps what reached the disk, and of the rest a part or garbage.
            tamanho = os.path.getsize(notas)
            corte = g.randrange(0, tamanho + 1)
            with open(notas, "r+b") as f:
                f.truncate(corte)
                if jeito == "zeros":
                    f.seek(corte)
                    f.write(b"\0" * g.randrange(1, 4096))
    r = roda(args, comando[len(args.emulador):], (0, 1))
    if resumo(pasta) != referencia:
        falha("depois das interrupções o resumo.csv difere do de uma execução inteira")
    if diario(pasta) != entradas:
        falha("depois das interrupções o diário difere do de uma execução inteira")
    print("interrompido: %d tentativas (%s); resumo idêntico, nenhum contrato repetido" %
          (args.mortes, ", ".join("%s %d" % kv for kv in maneiras.items())))


# ---- partes -----------------------------------------------------------------------------------

def partes(args):
    mes = os.path.join(args.pasta, "mes.json")
    gera(args, [mes])
    inteiro = os.path.join(args.pasta, "inteiro")
    lote(args, mes, inteiro)
    n = 3
    pastas = [os.path.join(args.pasta, "parte%d" % i) for i in range(1, n + 1)]
    for i, p in enumerate(pastas, 1):
        lote(args, mes, p, "--parte", "%d/%d" % (i, n), "--threads", "1")
    juntos = []
    for i, p in enumerate(pastas):
        juntos += list(diario(p))
    if len(juntos) != len(set(juntos)) or set(juntos) != set(diario(inteiro)):
        falha("as partes não dividem o mês: cada contrato numa parte só")
    junto = os.path.join(args.pasta, "junto")
    roda(args, [args.tqcalc, "junta", *reversed(pastas), "--saida", junto], (0, 1))
    if resumo(junto) != resumo(inteiro) or diario(junto) != diario(inteiro):
        falha("as partes juntas diferem do mês inteiro")
    # Started again on the joined folder, the run finds the month done.
    r = lote(args, mes, junto)
    if resumo(junto) != resumo(inteiro) or b" 0 calculados" not in r.stderr:
        falha("o lote sobre a pasta junta não a reconheceu como o mês inteiro")
    recusas = [
        ([pastas[0], pastas[2]], "falta a parte 2/3"),
        ([pastas[0], pastas[1], pastas[1], pastas[2]], "são ambas a parte 2/3"),
        ([pastas[0], pastas[1], inteiro], "é a parte 1/1"),
    ]
    # An unfinished share: its journal cut back by a few lines.
    cortada = os.path.join(args.pasta, "parte2-cortada")
    shutil.copytree(pastas[1], cortada)
    linhas = le(os.path.join(cortada, "notas.jsonl")).splitlines(keepends=True)
    with open(os.path.join(cortada, "notas.jsonl"), "wb") as f:
        f.write(b"".join(linhas[:-3]))
    recusas.append(([pastas[0], cortada, pastas[2]], "não terminou"))
    for k, (lista, mensagem) in enumerate(recusas):
        r = roda(args, [args.tqcalc, "junta", *lista, "--saida",
                        os.path.join(args.pasta, "recusa%d" % k)], (2,))
        if mensagem.encode() not in r.stderr:
            falha("junta %s: esperado %r, veio %s" % (lista, mensagem, r.stderr.decode()))
    print("partes: %d partes juntas iguais ao mês; %d junções erradas recusadas" %
          (n, len(recusas)))


# ---- conferencia ------------------------------------------------------------------------------

def conferencia(args):
    mes = os.path.join(args.pasta, "mes.json")
    gera(args, [mes])
    pasta = os.path.join(args.pasta, "mes")
    lote(args, mes, pasta)
    linhas = [l.split(";") for l in resumo(pasta).decode().splitlines()[1:]]
    g = random.Random(args.semente)
    com_total = [l for l in linhas if l[4]]
    sem_total = [l for l in linhas if not l[4]]
    alterados = {l[0] for l in g.sample(com_total, 7)}
    ausentes = {l[0] for l in g.sample([l for l in com_total if l[0] not in alterados], 3)}
    faturado, esperado = ["contrato;total"], {}

    def centavos(texto):
        inteiro, _, frac = texto.partition(",")
        sinal = -1 if inteiro.startswith("-") else 1
        return sinal * (abs(int(inteiro)) * 100 + int((frac + "00")[:2]))

    def texto(c):
        return "%s%d,%02d" % ("-" if c < 0 else "", abs(c) // 100, abs(c) % 100)

    for l in com_total:
        c = centavos(l[4])
        if l[0] in ausentes:
            esperado[l[0]] = "só no cálculo"
            continue
        if l[0] in alterados:
            c += g.choice([-1, 1]) * g.randrange(1, 100000)
            esperado[l[0]] = "valor diferente"
        faturado.append("%s;%s" % (l[0], texto(c)))
    for l in sem_total:
        faturado.append("%s;123,45" % l[0])
        esperado[l[0]] = "o cálculo não deu nota (%s)" % l[1]
    for extra in ("9999990", "0000001"):
        faturado.append("%s;10,00" % extra)
        esperado[extra] = "só no faturado"
    g.shuffle(faturado[1:])
    arquivo = os.path.join(args.pasta, "faturado.csv")
    with open(arquivo, "w", newline="") as f:
        f.write("\r\n".join(faturado) + "\r\n")  # as a spreadsheet saves it
    # Against a month already billed: the run only reads its journal and confers.
    r = lote(args, mes, pasta, "--conferir", arquivo, codigos_ok=(1,))
    divergencias = le(os.path.join(pasta, "divergencias.csv")).decode().splitlines()
    if divergencias[0] != "contrato;faturado;calculado;diferenca;situacao":
        falha("divergencias.csv: cabeçalho " + divergencias[0])
    achadas = {d.split(";")[0]: d.split(";") for d in divergencias[1:]}
    if {c: d[4] for c, d in achadas.items()} != esperado:
        falha("divergências %s, esperadas %s" % ({c: d[4] for c, d in achadas.items()}, esperado))
    for c, d in achadas.items():
        if d[4] == "valor diferente" and centavos(d[1]) - centavos(d[2]) != centavos(d[3]):
            falha("contrato %s: a diferença %s não é faturado − calculado" % (c, d[3]))
    if [d.split(";")[0] for d in divergencias[1:]] != sorted(achadas):
        falha("divergencias.csv não está em ordem de código")
    print("conferencia: %d divergências, exatamente as alteradas (%d), as ausentes e as sem nota" %
          (len(achadas), len(alterados)))


def main():
    a = argparse.ArgumentParser()
    a.add_argument("teste", choices=["igual", "interrompido", "partes", "conferencia"])
    a.add_argument("--tqcalc", required=True)
    a.add_argument("--gera", required=True)
    a.add_argument("--pasta", required=True)
    a.add_argument("--emulador", default="")
    a.add_argument("--contratos", type=int, default=300)
    a.add_argument("--amostra", type=int, default=20)
    a.add_argument("--mortes", type=int, default=20)
    a.add_argument("--semente", type=int, default=2024)
    args = a.parse_args()
    args.emulador = [args.emulador] if args.emulador else []
    shutil.rmtree(args.pasta, ignore_errors=True)
    os.makedirs(args.pasta)
    {"igual": igual, "interrompido": interrompido, "partes": partes,
     "conferencia": conferencia}[args.teste](args)


if __name__ == "__main__":
    main()
