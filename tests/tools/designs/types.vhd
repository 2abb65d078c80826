-- SPDX-License-Identifier: BSD-3-Clause
--
-- A signal of every kind of type that VHDL has.
library ieee; use ieee.std_logic_1164.all; use ieee.numeric_std.all;
package p is
  type state_t is (idle, run, stop, err);
  type rec_t is record a : std_logic; b : unsigned(3 downto 0); c : integer; end record;
  type mem_t is array (0 to 3) of std_logic_vector(7 downto 0);
  type rarr_t is array (1 to 2) of rec_t;
  type m2_t is array (0 to 1, 0 to 2) of bit;
end package;
library ieee; use ieee.std_logic_1164.all; use ieee.numeric_std.all; use work.p.all;
entity cnt is generic (W : integer := 8); port (clk : in std_logic; q : out unsigned(W-1 downto 0); st : inout state_t); end entity;
architecture rtl of cnt is signal c : unsigned(W-1 downto 0) := (others => '0'); begin
  process(clk) begin if rising_edge(clk) then c <= c + 1; if st = err then st <= idle; else st <= state_t'succ(st); end if; end if; end process;
  q <= c;
end architecture;
library ieee; use ieee.std_logic_1164.all; use ieee.numeric_std.all; use work.p.all;
entity tb is end entity;
architecture sim of tb is
  signal clk : std_logic := '0'; signal q : unsigned(7 downto 0); signal st : state_t := idle;
  signal r : rec_t := ('U', "0000", -5); signal mem : mem_t := (others => x"a5"); signal ra : rarr_t := (others => ('Z', "XXXX", 7)); signal m2 : m2_t;
  signal b : boolean; signal rl : real := 0.5; signal t : time := 1 ns; signal s : string(1 to 5) := "hello"; signal ch : character := 'x';
  signal sg : signed(7 downto 0) := x"80"; signal bv : bit_vector(0 to 3); signal n : natural range 0 to 100 := 3; signal asc : std_logic_vector(0 to 7) := "01XZWLH-"; signal null_v : std_logic_vector(-1 downto 0);
  signal sl : std_logic_vector(3 downto 0);
begin
  u : entity work.cnt generic map (8) port map (clk, q, st);
  g : for i in 0 to 1 generate signal x : std_logic := '0'; begin x <= not clk after 1 ns; end generate;
  clk <= not clk after 5 ns when now < 3 us else '0';
  sl <= std_logic_vector(q(3 downto 0));
  process(clk) begin if rising_edge(clk) then
    r.a <= q(0); r.b <= q(3 downto 0); r.c <= r.c - 1; mem(to_integer(q(1 downto 0))) <= std_logic_vector(q); ra(1).c <= to_integer(q); ra(2).a <= '1';
    m2(1,2) <= not m2(1,2); b <= not b; rl <= rl * 1.01; t <= now; sg <= sg + 1; bv <= not bv; if q(0)='1' then s <= "world"; ch <= '!'; else s <= "hel" & character'val(228) & "o"; ch <= nul; end if;
  end if; end process;
end architecture;
