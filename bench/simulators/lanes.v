// Some 2,000 signals of the widths that designs have, in 64 lanes that are busy at different times.
`timescale 1ns/1ns
module lane #(parameter SEED = 1) (
    input wire clk, input wire reset, input wire [7:0] in, input wire in_valid,
    output reg [7:0] out, output reg out_valid);
  reg [31:0] lfsr;
  reg [15:0] address;
  reg [63:0] sum;
  reg [3:0] state;
  reg [7:0] stage1, stage2, stage3;
  reg valid1, valid2, valid3;
  reg [9:0] count;
  reg busy, done, overflow;
  wire feedback = lfsr[31] ^ lfsr[21] ^ lfsr[1] ^ lfsr[0];
  wire active = lfsr[3:0] < 4'd5;
  wire [7:0] mixed = stage1 ^ lfsr[15:8];
  wire [15:0] next_address = address + {8'd0, stage2};
  wire parity = ^stage3;
  wire is_zero = stage3 == 8'd0;
  wire last = count == 10'd1000;
  wire stall = busy & ~valid1;
  always @(posedge clk)
    if (reset) begin
      lfsr <= SEED * 32'h9e3779b9 + 32'd1;
      address <= 0; sum <= 0; state <= 0; count <= 0;
      stage1 <= 0; stage2 <= 0; stage3 <= 0; out <= 0;
      valid1 <= 0; valid2 <= 0; valid3 <= 0; out_valid <= 0;
      busy <= 0; done <= 0; overflow <= 0;
    end else begin
      lfsr <= {lfsr[30:0], feedback};
      valid1 <= in_valid & active;
      valid2 <= valid1; valid3 <= valid2; out_valid <= valid3;
      if (active & in_valid) stage1 <= in;
      if (valid1) stage2 <= mixed;
      if (valid2) begin stage3 <= stage2 + state; address <= next_address; end
      if (valid3) begin
        out <= stage3; sum <= sum + {48'd0, address}; state <= state + {3'd0, parity};
      end
      busy <= active; done <= last & is_zero; overflow <= overflow | (address > 16'hfff0);
      count <= last ? 10'd0 : count + {9'd0, stall};
    end
endmodule

module lanes;
  parameter LANES = 64;
  reg clk = 0;
  reg reset = 1;
  integer cycles;
  reg [7:0] source = 0;
  always @(posedge clk) source <= source + 8'd3;
  genvar g;
  generate
    for (g = 0; g < LANES; g = g + 1) begin : each
      wire [7:0] in, out;
      wire in_valid, out_valid;
      // Every eighth lane starts a chain.
      if (g % 8 == 0) begin : first
        assign in = source;
        assign in_valid = 1'b1;
      end else begin : next
        assign in = each[g - 1].out;
        assign in_valid = each[g - 1].out_valid;
      end
      lane #(.SEED(g + 1)) unit(.clk(clk), .reset(reset), .in(in), .in_valid(in_valid), .out(out),
                                .out_valid(out_valid));
    end
  endgenerate
  initial begin
    if (!$value$plusargs("cycles=%d", cycles)) cycles = 1000;
    if ($test$plusargs("dump")) begin
      $dumpfile("lanes.dump");
      $dumpvars(0, lanes);
    end
    repeat (2) begin #5 clk = 1; #5 clk = 0; end
    reset = 0;
    repeat (cycles) begin #5 clk = 1; #5 clk = 0; end
    $finish;
  end
endmodule
