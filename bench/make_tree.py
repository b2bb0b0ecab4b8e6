#!/usr/bin/env python3
"""Generates a tree of small files, the same for the same arguments: make_tree.py FOLDER FILES [MAX_BYTES].

Contents are words, so that they compress like text, and no two files are alike. MAX_BYTES 0 makes empty files.
"""
import os
import random
import sys

folder, files = sys.argv[1], int(sys.argv[2])
most = int(sys.argv[3]) if len(sys.argv) > 3 else 8192
PER_FOLDER = 100
random.seed(files)
words = [bytes(random.choice(b"abcdefghijklmnopqrstuvwxyz") for _ in range(random.randint(2, 9))) for _ in range(4096)]
text = b" ".join(random.choice(words) for _ in range(200000))

for index in range(files):
    path = os.path.join(folder, f"{index // 10000:03d}", f"{index // PER_FOLDER % 100:02d}")
    if index % PER_FOLDER == 0:
        os.makedirs(path, exist_ok=True)
    with open(os.path.join(path, f"file-{index:07d}.txt"), "wb") as out:
        if most > 0:
            size = random.randint(1, most)
            start = random.randint(0, len(text) - size - 1)
            out.write(b"%d " % index + text[start : start + size])
