"""The records, codes and prototypes of the package against the C headers."""

from __future__ import annotations

import ctypes as c
import re
import subprocess
from pathlib import Path
from typing import Any

from conftest import ROOT

from zelvane import Code, Container, Speed, Still
from zelvane import _native as native

# A record here, its name there, and the names there of its fields in their order.
RECORDS: list[tuple[Any, str, str]] = [
    (native.RunInfo, "PLAYER_RUN_INFO_S", "ulPort ulErrCode ulReserved szFilePath"),
    (native.VideoFrame, "PLAYER_PARSE_VIDEO_DATA_S", "pucData ulDataLen ulVideoFrameType ulVideoCodeFormat ulHeight "
                                                     "ulWidth dlTimeStamp ulAbsTime ulReserved2"),
    (native.AudioFrame, "PLAYER_PARSE_AUDIO_DATA_S", "pucData ulDataLen ulAudioCodeFormat ulWaveFormat dlTimeStamp "
                                                     "ulReserved1 ulReserved2"),
    (native.PictureData, "PLAYER_PICTURE_DATA_S", "pucData ulLineSize ulPicHeight ulPicWidth ulRenderTimeType "
                                                  "ulFrameRate dlRenderTime"),
    (native.WaveData, "PLAYER_WAVE_DATA_S", "pcData ulDataLen ulWaveFormat"),
    (native.FileName, "PLAYER_RECORD_FILENAME_LIST_S", "szFileName pstNext"),
    (native.FileNames, "PLAYER_RECORD_FILES_NAME_INFO_S", "ulFileCount pstFileNameLinkList"),
]
NAMES: dict[Any, str] = {
    Speed.QUARTER: "PLAYER_SPEED_QUARTER_FORWARD", Speed.NORMAL: "PLAYER_SPEED_1_FORWARD",
    Speed.X16: "PLAYER_SPEED_16_FORWARD", Container.MP4: "PLAYER_FILE_FORMATE_MP4",
    Container.TS: "PLAYER_FILE_FORMATE_TS", Container.AVI: "PLAYER_FILE_FORMATE_AVI",
    Still.BMP: "PLAYER_PIC_FORMATE_BMP", Still.JPEG: "PLAYER_PIC_FORMATE_JPEG",
}


def code_name(code: Code) -> str:
    run_only = {Code.RECORD_OPEN_FAILED, Code.RECORD_FINISHED, Code.PICTURE_SIZE, Code.RECORD_ROLLED, Code.PEER_CLOSED,
                Code.PLAYBACK_FINISHED, Code.SNATCH_DONE}
    return ("PLAYER_RUN_" if code in run_only else "PLAYER_ERR_") + code.name


def test_records_and_values_are_those_of_the_headers(tmp_path: Path) -> None:
    claims = []
    for record, name, fields in RECORDS:
        claims.append(f"sizeof({name}) == {c.sizeof(record)}")
        for (field, _), theirs in zip(record._fields_, fields.split(), strict=True):
            ours = getattr(record, field)
            claims.append(f"offsetof({name}, {theirs}) == {ours.offset}")
            claims.append(f"sizeof((({name} *)0)->{theirs}) == {ours.size}")
    claims += [f"{name} == {int(value)}" for value, name in NAMES.items()]
    claims += [f"{code_name(code)} == {int(code)}" for code in Code]
    source = tmp_path / "claims.c"
    source.write_text("#include <stddef.h>\n#include <player_public.h>\n" +
                      "".join(f'_Static_assert({claim}, "{claim}");\n' for claim in claims))
    subprocess.run(["gcc", "-std=c11", "-fsyntax-only", "-I", str(ROOT / "include"), str(source)], check=True)


def test_prototypes_are_those_of_the_headers() -> None:
    sizes = {"ULONG_32": 4, "BOOL_T": 4, "LONG_32": 4, "USHORT": 2, "HANDLE": 8, "PLAYER_RECORD_GET_FILENAME_POS_E": 4}
    text = (ROOT / "include" / "player_sdk_func.h").read_text()
    found = dict(re.findall(r"ZELVANE_API \w+ Zelvane_(\w+)\(([^)]*)\);", text))
    for name, ours in native.PROTOTYPES.items():
        theirs = [one.split() for one in found[name].split(",") if one.strip() != "void"]
        wanted = [8 if "*" in " ".join(one) or one[0].endswith("_PF") else sizes[one[0]] for one in theirs]
        assert [c.sizeof(kind) for kind in ours] == wanted, name
